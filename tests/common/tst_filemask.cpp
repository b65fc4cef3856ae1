// Wildcard masks and listing of directories by mask.
#include "fileops.h"
#include "testfiles.h"

#include <QTemporaryDir>
#include <QtTest>

#include <algorithm>

namespace fs = std::filesystem;

namespace {

QStringList sorted(const std::vector<fs::path>& paths, const fs::path& base = fs::path())
{
    QStringList list;
    for (const auto& p : paths)
        list << QString::fromStdString(
            base.empty() ? p.string() : p.lexically_relative(base).string());
    list.sort();
    return list;
}

} // namespace

class TestFileMask : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    fs::path m_root;

    void touch(const fs::path& p) { QVERIFY(writeTextFile(m_root / p, "x")); }

private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        m_root = tempPath(m_dir, "root");
        fs::create_directories(m_root / "sub" / "deeper");
        fs::create_directories(m_root / "dir.txt");
        fs::create_directories(m_root / "empty");
        for (const char* name : {"a.txt", "b.TXT", "c.dat", ".hidden.txt", "sub/d.txt", "sub/f.dat",
                 "sub/deeper/e.txt", "dir.txt/g.txt"})
            touch(name);
    }

    void matchString_data()
    {
        QTest::addColumn<QByteArray>("name");
        QTest::addColumn<QByteArray>("mask");
        QTest::addColumn<bool>("matches");
        QTest::newRow("star extension, other case")
            << QByteArray("a.txt") << QByteArray("*.TXT") << true;
        QTest::newRow("? does not match leading dot")
            << QByteArray(".bc") << QByteArray("?bc") << false;
        QTest::newRow("? after star matches dot")
            << QByteArray(".bc") << QByteArray("*?bc") << true;
        QTest::newRow("? matches letter") << QByteArray("abc") << QByteArray("?bc") << true;
        QTest::newRow("? never matches inner dot before star")
            << QByteArray("a.b") << QByteArray("a?b") << false;
        QTest::newRow("? matches inner dot after star")
            << QByteArray("a.b") << QByteArray("*a?b") << true;
        QTest::newRow("case-insensitive literal")
            << QByteArray("ABC.Dat") << QByteArray("abc.dAT") << true;
        QTest::newRow("literal mismatch") << QByteArray("abc") << QByteArray("abd") << false;
        QTest::newRow("name longer") << QByteArray("abcd") << QByteArray("abc") << false;
        QTest::newRow("mask longer") << QByteArray("ab") << QByteArray("abc") << false;
        QTest::newRow("empty both") << QByteArray("") << QByteArray("") << true;
        QTest::newRow("empty name, stars") << QByteArray("") << QByteArray("**") << true;
        QTest::newRow("empty name, ?") << QByteArray("") << QByteArray("?") << false;
        QTest::newRow("empty mask") << QByteArray("a") << QByteArray("") << false;
        QTest::newRow("star alone") << QByteArray("anything.at.all") << QByteArray("*") << true;
        QTest::newRow("star in middle") << QByteArray("abxyzc") << QByteArray("a*c") << true;
        QTest::newRow("backtrack") << QByteArray("abcabd") << QByteArray("*abd") << true;
        QTest::newRow("backtrack fails") << QByteArray("abcabe") << QByteArray("*abd") << false;
        QTest::newRow("several stars") << QByteArray("aXaYa") << QByteArray("a*a*a") << true;
        QTest::newRow("trailing stars") << QByteArray("abc") << QByteArray("abc***") << true;
        QTest::newRow("double extension")
            << QByteArray("file.txt.bak") << QByteArray("*.txt") << false;
        QTest::newRow("question marks")
            << QByteArray("run_2024.csv") << QByteArray("run_????.csv") << true;
        QTest::newRow("too few characters")
            << QByteArray("run_24.csv") << QByteArray("run_????.csv") << false;
        QTest::newRow("star matches literal star") << QByteArray("a*") << QByteArray("a*") << true;
        // A "*" that meets a literal "*" is used up by it and is not remembered
        // as a wildcard, so there is nothing to fall back on afterwards.
        QTest::newRow("literal star consumes wildcard")
            << QByteArray("*a.txt") << QByteArray("*.txt") << false;
        // Found by fuzzing: the first mask star is spent on the name's star.
        QTest::newRow("name star, one mask star")
            << QByteArray("*\x03") << QByteArray("*") << false;
        QTest::newRow("name star, two mask stars")
            << QByteArray("*\x03") << QByteArray("**") << true;
        QTest::newRow("non-ascii bytes")
            << QByteArray("\xc3\xa9t\xc3\xa9.txt") << QByteArray("*.TXT") << true;
    }
    void matchString()
    {
        QFETCH(QByteArray, name);
        QFETCH(QByteArray, mask);
        QFETCH(bool, matches);
        QCOMPARE(matchMaskString(name.toStdString(), mask.toStdString()), matches);
    }

    void matchPath()
    {
        QVERIFY(matchMask(fs::path("a.txt"), "*.TXT"));
        QVERIFY(!matchMask(fs::path(".bc"), "?bc"));
        QVERIFY(matchMask(fs::path(".bc"), "*?bc"));
        QVERIFY(matchMask(fs::path("dir/a.txt"), "dir/*.txt"));
        QVERIFY(!matchMask(fs::path("a.txt"), nullptr));
        QVERIFY(!matchMask(fs::path(), nullptr));
    }

    void listFlat()
    {
        std::vector<fs::path> out;
        QCOMPARE(listFilesInDir(m_root, "*.txt", false, false, out), 0);
        QCOMPARE(sorted(out), QStringList({".hidden.txt", "a.txt", "b.TXT"}));
    }
    void listRecursive()
    {
        std::vector<fs::path> out;
        QCOMPARE(listFilesInDir(m_root, "*.txt", true, false, out), 0);
        QCOMPARE(
            sorted(out), QStringList({".hidden.txt", "a.txt", "b.TXT", "d.txt", "e.txt", "g.txt"}));
    }
    void listFullPaths()
    {
        std::vector<fs::path> out;
        QCOMPARE(listFilesInDir(m_root, "*.dat", true, true, out), 0);
        for (const auto& p : out)
            QVERIFY(fs::exists(p));
        QCOMPARE(sorted(out, m_root), QStringList({"c.dat", "sub/f.dat"}));
        out.clear();
        QCOMPARE(listFilesInDir(m_root, "?*.txt", true, true, out), 0);
        QCOMPARE(sorted(out, m_root),
            QStringList({"a.txt", "b.TXT", "dir.txt/g.txt", "sub/d.txt", "sub/deeper/e.txt"}));
    }
    void listAppends()
    {
        std::vector<fs::path> out {"already/there"};
        QCOMPARE(listFilesInDir(m_root, "c.*", false, false, out), 0);
        QCOMPARE(out.size(), size_t(2));
        QCOMPARE(out.front(), fs::path("already/there"));
        QCOMPARE(out.back(), fs::path("c.dat"));
    }
    void listStrings()
    {
        std::vector<fs::path> paths;
        std::vector<std::string> strings {"kept"};
        QCOMPARE(listFilesInDir(m_root, "*", true, true, paths), 0);
        QCOMPARE(listFilesInDir(m_root, "*", true, true, strings), 0);
        QCOMPARE(strings.size(), paths.size() + 1);
        QCOMPARE(strings.front(), std::string("kept"));
        std::vector<std::string> expected;
        for (const auto& p : paths)
            expected.push_back(p.string());
        std::vector<std::string> got(strings.begin() + 1, strings.end());
        std::sort(expected.begin(), expected.end());
        std::sort(got.begin(), got.end());
        QVERIFY(got == expected);
        QCOMPARE(got.size(), size_t(8));
    }
    void listNothing()
    {
        std::vector<fs::path> out;
        QCOMPARE(listFilesInDir(m_root / "empty", "*", true, true, out), 0);
        QVERIFY(out.empty());
        QCOMPARE(listFilesInDir(m_root, "*.none", true, true, out), 0);
        QVERIFY(out.empty());
    }
    void listFailures()
    {
        std::vector<fs::path> out;
        std::vector<std::string> strings;
        QCOMPARE(listFilesInDir(m_root, nullptr, true, true, out), -5);
        QCOMPARE(listFilesInDir(m_root, nullptr, true, true, strings), -5);
        QCOMPARE(listFilesInDir(m_root / "a.txt", "*", true, true, out), -1);
        QCOMPARE(listFilesInDir(m_root / "missing", "*", false, true, out), -1);
        QCOMPARE(listFilesInDir(fs::path(), "*", false, true, strings), -1);
        QVERIFY(out.empty());
        QVERIFY(strings.empty());
    }
    void listDoesNotFollowDirectoryLinks()
    {
        const fs::path loopRoot = tempPath(m_dir, "loop");
        fs::create_directories(loopRoot / "inner");
        QVERIFY(writeTextFile(loopRoot / "inner" / "x.txt", "x"));
        QVERIFY(writeTextFile(loopRoot / "target.txt", "x"));
        std::error_code ec;
        fs::create_directory_symlink(loopRoot, loopRoot / "inner" / "back", ec);
        QVERIFY(!ec);
        fs::create_symlink(loopRoot / "target.txt", loopRoot / "link.txt", ec);
        QVERIFY(!ec);
        std::vector<fs::path> out;
        QCOMPARE(listFilesInDir(loopRoot, "*", true, false, out), 0);
        QCOMPARE(sorted(out), QStringList({"link.txt", "target.txt", "x.txt"}));
    }
};

QTEST_GUILESS_MAIN(TestFileMask)
#include "tst_filemask.moc"
