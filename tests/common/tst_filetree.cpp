// Copying and deleting files and directory trees.
#include "fileops.h"
#include "testfiles.h"

#include <QTemporaryDir>
#include <QtTest>

namespace fs = std::filesystem;

class TestFileTree : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    fs::path path(const char* name) const { return tempPath(m_dir, name); }

    // A small tree with nested and empty directories.
    fs::path makeTree(const char* name)
    {
        const fs::path root = path(name);
        fs::create_directories(root / "a" / "b");
        fs::create_directories(root / "empty");
        writeTextFile(root / "top.txt", "top");
        writeTextFile(root / "a" / "mid.bin", std::string("\x00\x01\x02", 3));
        writeTextFile(root / "a" / "b" / "deep.txt", "deep");
        return root;
    }

private slots:
    void initTestCase() { QVERIFY(m_dir.isValid()); }

    void copySingleFile()
    {
        const auto from = path("src.txt");
        const auto to = path("dst.txt");
        QVERIFY(writeTextFile(from, "content"));
        QVERIFY(writeTextFile(to, "older and longer content"));
        QCOMPARE(copyFileDir(from, to), 0);
        QCOMPARE(readTextFile(to), std::string("content"));
        QCOMPARE(readTextFile(from), std::string("content"));
    }
    void copyTree()
    {
        const fs::path from = makeTree("tree");
        const fs::path to = path("copies/of/tree");
        QCOMPARE(copyFileDir(from, to), 0);
        QVERIFY(fs::is_directory(to / "empty"));
        QVERIFY(fs::is_directory(to / "a" / "b"));
        for (const char* file : {"top.txt", "a/mid.bin", "a/b/deep.txt"})
            QVERIFY2(isFilesEqual(from / file, to / file, 0), file);
        size_t entries = 0;
        for (auto it = fs::recursive_directory_iterator(to);
             it != fs::recursive_directory_iterator(); ++it)
            ++entries;
        QCOMPARE(entries, size_t(6));
    }
    void copyTreeOverExisting()
    {
        const fs::path from = makeTree("tree2");
        const fs::path to = path("existing");
        fs::create_directories(to / "a");
        QVERIFY(writeTextFile(to / "a" / "mid.bin", "will be replaced"));
        QVERIFY(writeTextFile(to / "other.txt", "stays"));
        QCOMPARE(copyFileDir(from, to), 0);
        QVERIFY(isFilesEqual(from / "a" / "mid.bin", to / "a" / "mid.bin", 0));
        QCOMPARE(readTextFile(to / "other.txt"), std::string("stays"));
    }
    void copyMissingSource()
    {
        QCOMPARE(copyFileDir(path("nothing-here"), path("anywhere")), -5);
        QVERIFY(!fs::exists(path("anywhere")));
    }
    void copyCannotFinish()
    {
        const auto file = path("plain.txt");
        QVERIFY(writeTextFile(file, "x"));
        // No parent directory for a single file.
        QCOMPARE(copyFileDir(file, path("no/such/dir/plain.txt")), -6);
        // A tree onto an existing file.
        const fs::path tree = makeTree("tree3");
        QCOMPARE(copyFileDir(tree, file), -6);
        QCOMPARE(readTextFile(file), std::string("x"));
        // A file onto a directory.
        QCOMPARE(copyFileDir(file, tree), -6);
        // A file onto itself.
        QCOMPARE(copyFileDir(file, file), -6);
        QCOMPARE(readTextFile(file), std::string("x"));
    }
    void copyTreeIntoItself()
    {
        const fs::path tree = makeTree("tree4");
        QCOMPARE(copyFileDir(tree, tree / "a" / "copy"), -6);
        QVERIFY(!fs::exists(tree / "a" / "copy"));
        QCOMPARE(copyFileDir(tree, tree), -6);
        // A sibling whose name merely starts the same is fine.
        QCOMPARE(copyFileDir(tree, path("tree4-copy")), 0);
        QVERIFY(isFilesEqual(tree / "top.txt", path("tree4-copy") / "top.txt", 0));
    }

    void deleteFile()
    {
        const auto file = path("gone.txt");
        QVERIFY(writeTextFile(file, "x"));
        QCOMPARE(deleteFileDir(file), 0);
        QVERIFY(!fs::exists(file));
    }
    void deleteTree()
    {
        const fs::path tree = makeTree("tree5");
        QCOMPARE(deleteFileDir(tree), 0);
        QVERIFY(!fs::exists(tree));
        QVERIFY(fs::exists(path("")));
    }
    void deleteMissing() { QCOMPARE(deleteFileDir(path("never-was")), 0); }
};

QTEST_GUILESS_MAIN(TestFileTree)
#include "tst_filetree.moc"
