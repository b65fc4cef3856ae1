// Drives the modal dialogs that an operation under test opens, as a user would: a
// timer looks at QApplication::activeModalWidget() and hands it to the first waiting
// step; a step that recognises its dialog acts on it and is done.
#pragma once

#include <QApplication>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QFileDialog>
#include <QFileInfo>
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

    // A file dialog: records its name filters and caption, chooses filter (when not empty), selects
    // name and presses the accept button; an empty name cancels.
    void fileDialog(const QString& filter, const QString& name, QStringList* seenFilters = nullptr,
        QString* seenCaption = nullptr)
    {
        add([=](QWidget* w) {
            auto* dialog = qobject_cast<QFileDialog*>(w);
            if (!dialog)
                return false;
            if (seenFilters)
                *seenFilters = dialog->nameFilters();
            if (seenCaption)
                *seenCaption = dialog->windowTitle();
            if (name.isEmpty()) {
                dialog->reject();
                return true;
            }
            if (!filter.isEmpty())
                dialog->selectNameFilter(filter);
            // The name is typed relative to its folder: a whole path in the name field
            // makes the dialog's completion select the folders along it.
            const QFileInfo target(name);
            if (target.isAbsolute())
                dialog->setDirectory(target.absolutePath());
            auto* edit = dialog->findChild<QLineEdit*>(QStringLiteral("fileNameEdit"));
            if (!edit)
                return false;
            edit->setText(target.isAbsolute() ? target.fileName() : name);
            // Accepted as a user would, by the accept button.
            QPushButton* accept = nullptr;
            if (auto* box = dialog->findChild<QDialogButtonBox*>())
                for (QAbstractButton* b : box->buttons())
                    if (box->buttonRole(b) == QDialogButtonBox::AcceptRole)
                        accept = qobject_cast<QPushButton*>(b);
            if (!accept || !accept->isEnabled())
                return false;
            QTest::mouseClick(accept, Qt::LeftButton);
            // Still open: try again at the next look.
            return !dialog->isVisible();
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
