// Drives the modal dialogs that an operation under test opens, as a user would: a
// timer looks at QApplication::activeModalWidget() and hands it to the first waiting
// step; a step that recognises its dialog acts on it and is done.
#pragma once

#include <QApplication>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QFileDialog>
#include <QInputDialog>
#include <QLineEdit>
#include <QPushButton>
#include <QTimer>
#include <QtTest>

#include <deque>
#include <functional>

class ModalDriver : public QObject
{
public:
    using Step = std::function<bool(QWidget*)>;

    ModalDriver()
    {
        connect(&timer, &QTimer::timeout, this, [this] {
            QWidget* w = QApplication::activeModalWidget();
            if (w && !steps.empty() && steps.front()(w))
                steps.pop_front();
        });
        timer.start(20);
    }

    void add(Step step) { steps.push_back(std::move(step)); }
    bool done() const { return steps.empty(); }

    // A file dialog: records its name filters, chooses filter (when not empty), puts
    // name into the file name field and presses Enter; an empty name cancels.
    void fileDialog(const QString& filter, const QString& name, QStringList* seenFilters = nullptr)
    {
        add([=](QWidget* w) {
            auto* dialog = qobject_cast<QFileDialog*>(w);
            if (!dialog)
                return false;
            if (seenFilters)
                *seenFilters = dialog->nameFilters();
            if (name.isEmpty()) {
                dialog->reject();
                return true;
            }
            if (!filter.isEmpty())
                dialog->selectNameFilter(filter);
            auto* edit = dialog->findChild<QLineEdit*>(QStringLiteral("fileNameEdit"));
            if (!edit)
                return false;
            // Set rather than typed: typing opens the completion list, which can take
            // the Enter meant for the dialog.
            edit->setText(name);
            QTest::keyClick(edit, Qt::Key_Enter);
            return true;
        });
    }

    // The item dialog: picks item, or cancels with an empty item.
    void itemDialog(const QString& item, QString* title = nullptr, QString* label = nullptr,
        QStringList* items = nullptr)
    {
        add([=](QWidget* w) {
            auto* dialog = qobject_cast<QInputDialog*>(w);
            if (!dialog)
                return false;
            if (title)
                *title = dialog->windowTitle();
            if (label)
                *label = dialog->labelText();
            if (items)
                *items = dialog->comboBoxItems();
            if (item.isEmpty()) {
                dialog->reject();
                return true;
            }
            auto* combo = dialog->findChild<QComboBox*>();
            if (!combo)
                return false;
            combo->setCurrentIndex(combo->findText(item));
            auto* box = dialog->findChild<QDialogButtonBox*>();
            if (!box)
                return false;
            QTest::mouseClick(box->button(QDialogButtonBox::Ok), Qt::LeftButton);
            return true;
        });
    }

private:
    QTimer timer;
    std::deque<Step> steps;
};
