// Matrix text keeps the "C" number format when the process runs in a locale
// with a decimal comma, as a GUI application adopting the user's locale does.
#include "fileops.h"
#include "testfiles.h"

#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

#include <clocale>
#include <cstdio>

class TestNumericLocale : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    std::string m_previous;

    std::filesystem::path path(const char* name) const { return tempPath(m_dir, name); }

    static std::string printed(double value)
    {
        char text[32];
        std::snprintf(text, sizeof text, "%f", value);
        return text;
    }

private slots:
    // Builds a German locale in the temporary folder, since test machines
    // usually have only "C" installed, and switches the process to it.
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        const QString localedef = QStandardPaths::findExecutable("localedef");
        if (localedef.isEmpty())
            QSKIP("localedef is not available to build a decimal-comma locale");
        const QString out = m_dir.path() + "/de_DE.UTF-8";
        QProcess build;
        build.start(localedef, {"-i", "de_DE", "-f", "UTF-8", out});
        QVERIFY(build.waitForFinished(60000));
        if (build.exitStatus() != QProcess::NormalExit || !QFile::exists(out + "/LC_NUMERIC"))
            QSKIP("the de_DE locale source is not installed");
        qputenv("LOCPATH", m_dir.path().toLocal8Bit());
        m_previous = std::setlocale(LC_ALL, nullptr);
        QVERIFY(std::setlocale(LC_ALL, "de_DE.UTF-8"));
        // The test is only meaningful if printf now really writes a comma.
        QCOMPARE(printed(1.5), std::string("1,500000"));
    }
    void cleanupTestCase()
    {
        if (!m_previous.empty())
            std::setlocale(LC_ALL, m_previous.c_str());
    }

    void writeUsesDecimalPoint()
    {
        double v[3] = {1.5, -0.25, 1000.0};
        const auto p = path("de.txt");
        QCOMPARE(writeAsciiMatrix(p, DT_DOUBLE, v, 3, 3, false), 0);
        QCOMPARE(readTextFile(p), std::string("1.500000 -0.250000 1000.000000\n"));
        float f[1] = {2.5f};
        QCOMPARE(writeAsciiMatrix(p, DT_FLOAT, f, 1, 1, false), 0);
        QCOMPARE(readTextFile(p), std::string("2.500000\n"));
    }
    void readUsesDecimalPoint()
    {
        const auto p = path("c.txt");
        QVERIFY(writeTextFile(p, "1.5 2.25\n3.125 4\n"));
        double v[4] = {};
        QCOMPARE(readAsciiMatrix(p, DT_DOUBLE, 4, v), 0);
        QCOMPARE(v[0], 1.5);
        QCOMPARE(v[1], 2.25);
        QCOMPARE(v[2], 3.125);
        QCOMPARE(v[3], 4.0);
        float f[2] = {};
        QCOMPARE(readAsciiMatrix(p, DT_FLOAT, 2, f), 0);
        QCOMPARE(f[1], 2.25f);
        size_t w = 0;
        size_t h = 0;
        QCOMPARE(getAsciiMatrixDimensions(p, &w, &h), 0);
        QCOMPARE(w, size_t(2));
        QCOMPARE(h, size_t(2));
    }
    void localeRestoredAfterwards()
    {
        double v[1] = {0.5};
        QCOMPARE(writeAsciiMatrix(path("r.txt"), DT_DOUBLE, v, 1, 1, false), 0);
        QCOMPARE(printed(0.5), std::string("0,500000"));
    }
};

QTEST_GUILESS_MAIN(TestNumericLocale)
#include "tst_numericlocale.moc"
