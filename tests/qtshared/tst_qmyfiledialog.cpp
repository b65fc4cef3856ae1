// The remembering file dialogs and the key of a remembered directory, driven through
// the non-native dialogs.
#include "qlastdir.h"
#include "qmyfiledialog.h"

#include <QAbstractButton>
#include <QApplication>
#include <QDialogButtonBox>
#include <QFileDialog>
#include <QFileInfo>
#include <QLineEdit>
#include <QSettings>
#include <QTemporaryDir>
#include <QTimer>
#include <QtTest>

#include <functional>

namespace {

// Runs action on the file dialog once it is the active modal widget.
void onDialog(std::function<void(QFileDialog*)> action)
{
    auto* timer = new QTimer;
    QObject::connect(timer, &QTimer::timeout, [timer, action] {
        if (auto* dialog = qobject_cast<QFileDialog*>(QApplication::activeModalWidget())) {
            timer->stop();
            timer->deleteLater();
            action(dialog);
        }
    });
    timer->start(20);
}

// Fills in the name as the user's text, relative to its folder (a whole path in the
// name field makes the dialog's completion select the folders along it), and presses
// the accept button.
void typeAndAccept(QFileDialog* dialog, const QString& name)
{
    auto* edit = dialog->findChild<QLineEdit*>("fileNameEdit");
    QVERIFY(edit);
    const QFileInfo target(name);
    if (target.isAbsolute())
        dialog->setDirectory(target.absolutePath());
    edit->setText(target.isAbsolute() ? target.fileName() : name);
    auto* box = dialog->findChild<QDialogButtonBox*>();
    QVERIFY(box);
    for (QAbstractButton* b : box->buttons())
        if (box->buttonRole(b) == QDialogButtonBox::AcceptRole) {
            QTest::mouseClick(b, Qt::LeftButton);
            return;
        }
    QFAIL("the file dialog has no accept button");
}

} // namespace

class TstQMyFileDialog : public QObject
{
    Q_OBJECT

    QTemporaryDir dir;

private slots:
    void initTestCase() { QCoreApplication::setAttribute(Qt::AA_DontUseNativeDialogs); }
    void init()
    {
        QSettings(QSettings::IniFormat, QSettings::UserScope, "Velmora", "Orvel").clear();
    }

    void lastDirKey()
    {
        QLastDir last("devctrl/savefile");
        QCOMPARE(last.key, QString("::devctrl/savefile"));
        QCOMPARE(QString(last), QString("::devctrl/savefile"));
    }

    void saveRemembersDirectoryAndFilter()
    {
        QDir(dir.path()).mkpath("a");
        const QString a = QDir(dir.path()).absoluteFilePath("a");
        QString caption;
        onDialog([&](QFileDialog* d) {
            caption = d->windowTitle();
            d->selectNameFilter("Binary frame (*.bin)");
            typeAndAccept(d, a + "/frame");
        });
        QString selected;
        const QString name = QMyFileDialog::getSaveFileName(nullptr, "Save Frames",
            QLastDir("test/save"), "Text (*.txt);;Binary frame (*.bin)", &selected);
        QCOMPARE(caption, QString("Save Frames"));
        QCOMPARE(name, QDir::toNativeSeparators(a + "/frame.bin"));
        QCOMPARE(selected, QString("Binary frame (*.bin)"));
        QSettings s(QSettings::IniFormat, QSettings::UserScope, "Velmora", "Orvel");
        QCOMPARE(s.value("test/save").toString(), a);
        QCOMPARE(s.value("SelectedFilter").toString(), QString("Binary frame (*.bin)"));
        QCOMPARE(s.value("DefaultOpenFileDir").toString(), a);
    }

    void saveStartsInRememberedDirWithDefaultName()
    {
        QDir(dir.path()).mkpath("b");
        const QString b = QDir(dir.path()).absoluteFilePath("b");
        {
            QSettings s(QSettings::IniFormat, QSettings::UserScope, "Velmora", "Orvel");
            s.setValue("test/save", b);
            s.setValue("SelectedFilter", "Binary frame (*.bin)");
        }
        QString startDir, startFilter, startName;
        onDialog([&](QFileDialog* d) {
            startDir = d->directory().absolutePath();
            startFilter = d->selectedNameFilter();
            startName = d->findChild<QLineEdit*>("fileNameEdit")->text();
            d->reject();
        });
        QString selected;
        const QString name = QMyFileDialog::getSaveFileName(nullptr, "Save", "::test/save",
            "Text (*.txt);;Binary frame (*.bin)", &selected, {}, "suggested.bin");
        QCOMPARE(name, QString());
        QCOMPARE(startDir, b);
        QCOMPARE(startFilter, QString("Binary frame (*.bin)"));
        QCOMPARE(startName, QString("suggested.bin"));
    }

    void emptyKeyFallsBackToDefaultOpenDir()
    {
        QDir(dir.path()).mkpath("c");
        const QString c = QDir(dir.path()).absoluteFilePath("c");
        QSettings(QSettings::IniFormat, QSettings::UserScope, "Velmora", "Orvel")
            .setValue("DefaultOpenFileDir", c);
        QString startDir;
        onDialog([&](QFileDialog* d) {
            startDir = d->directory().absolutePath();
            d->reject();
        });
        QCOMPARE(
            QMyFileDialog::getOpenFileName(nullptr, "Open", "::test/never", "All (*)"), QString());
        QCOMPARE(startDir, c);
    }

    void openStoresDirectory()
    {
        QDir(dir.path()).mkpath("d");
        const QString d = QDir(dir.path()).absoluteFilePath("d");
        QFile file(d + "/x.dsc");
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.close();
        onDialog([&](QFileDialog* fd) { typeAndAccept(fd, d + "/x.dsc"); });
        const QStringList names = QMyFileDialog::getOpenFileNames(
            nullptr, "Load Frames", "::test/open", "Frames (*.dsc)");
        QCOMPARE(names, QStringList {d + "/x.dsc"});
        QSettings s(QSettings::IniFormat, QSettings::UserScope, "Velmora", "Orvel");
        QCOMPARE(s.value("test/open").toString(), d);
        QCOMPARE(s.value("DefaultOpenFileDir").toString(), d);
    }
};

QTEST_MAIN(TstQMyFileDialog)
#include "tst_qmyfiledialog.moc"
