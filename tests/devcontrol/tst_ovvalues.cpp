// The value classes that cross the host boundary.
#include "ovsdk.h"

#include <QtTest>

#include <clocale>

namespace {

// A host object that counts references, as frames and data objects do.
class Counted final : public ov::IRefCounted
{
public:
    int incRef() override { return ++refs; }
    int decRef() override { return --refs; }
    int refs = 0;
};

// A working copy that records when it is handed back.
class Copy
{
public:
    void releaseCopy() { ++released; }
    int released = 0;
};

} // namespace

class TestOvValues : public QObject
{
    Q_OBJECT

private slots:
    void refDataCountsThroughCopyAndAssignment()
    {
        Counted a;
        {
            ov::RefData<Counted> first(&a);
            QCOMPARE(a.refs, 1);
            ov::RefData<Counted> second(first);
            QCOMPARE(a.refs, 2);
            ov::RefData<Counted> third;
            third = second;
            QCOMPARE(a.refs, 3);
            third = third; // self-assignment changes nothing
            QCOMPARE(a.refs, 3);
        }
        QCOMPARE(a.refs, 0);
    }

    void refDataReplacementDropsTheOldReference()
    {
        Counted a, b;
        ov::RefData<Counted> holder(&a);
        ov::RefData<Counted> other(&b);
        holder = other;
        QCOMPARE(a.refs, 0);
        QCOMPARE(b.refs, 2);
        holder.reset(&a);
        QCOMPARE(a.refs, 1);
        QCOMPARE(b.refs, 1);
        holder.reset();
        QCOMPARE(a.refs, 0);
        QVERIFY(!holder);
    }

    void refDataAdoptsAReferenceTheCallerOwns()
    {
        Counted a;
        a.incRef(); // as a ...RefInc operation hands it over
        {
            ov::RefData<Counted> holder(&a, false);
            QCOMPARE(a.refs, 1);
        }
        QCOMPARE(a.refs, 0);
    }

    void refDataMoveKeepsTheCount()
    {
        Counted a;
        ov::RefData<Counted> first(&a);
        ov::RefData<Counted> second(std::move(first));
        QCOMPARE(a.refs, 1);
        QVERIFY(!first.get());
        QCOMPARE(second.get(), &a);
    }

    void refDataNullIsLegal()
    {
        ov::RefData<Counted> empty;
        ov::RefData<Counted> copy(empty);
        copy.inc();
        copy.dec();
        QVERIFY(!copy.get());
    }

    void dataBuffResizeKeepsSameSizeAndDropsContentOtherwise()
    {
        ov::DataBuff<unsigned> buff(4);
        QCOMPARE(buff.size(), 4ul);
        QCOMPARE(buff.byteSize(), 16ul);
        buff[0] = 7;
        unsigned* before = buff.data();
        buff.resize(4);
        QCOMPARE(buff.data(), before); // no-op when the size is unchanged
        QCOMPARE(buff[0], 7u);
        buff.resize(8);
        QCOMPARE(buff.size(), 8ul);
        buff.resize(0);
        QCOMPARE(buff.size(), 0ul);
        QVERIFY(buff.data() == nullptr);
    }

    void dataBuffResizeByteCountsElements()
    {
        ov::DataBuff<double> buff;
        buff.resizeByte(80);
        QCOMPARE(buff.size(), 10ul);
        QCOMPARE(buff.byteSize(), 80ul);
        QCOMPARE(static_cast<void*>(buff.dataByte()), static_cast<void*>(buff.data()));
    }

    void dataBuffAssignAndClear()
    {
        const short values[] = {-3, 0, 5};
        ov::DataBuff<short> buff;
        buff.assignData(values, 3);
        QCOMPARE(buff.size(), 3ul);
        QCOMPARE(buff[0], short(-3));
        QCOMPARE(buff[2], short(5));
        ov::DataBuff<short> copy(buff);
        QCOMPARE(copy[2], short(5));
        QVERIFY(copy.data() != buff.data());
        buff.clear();
        QCOMPARE(buff.size(), 0ul);
        QVERIFY(buff.data() == nullptr);
    }

    void refDataBuffIsAWindow()
    {
        unsigned pixels[6] = {1, 2, 3, 4, 5, 6};
        ov::RefDataBuff<unsigned> view;
        view.setByte(reinterpret_cast<unsigned char*>(pixels), sizeof pixels);
        QCOMPARE(view.size(), 6ul);
        QCOMPARE(view.byteSize(), sizeof pixels);
        QCOMPARE(view.data(), pixels);
        view.set(pixels + 2, 2);
        QCOMPARE(view.data()[1], 4u);
        QCOMPARE(view.size(), 2ul);
    }

    void ptrListEraseOutOfRange()
    {
        int a = 0, b = 0;
        ov::PtrList<int*> list;
        list.add(&a);
        list.add(&b);
        QCOMPARE(list.erase(2), -1);
        QCOMPARE(list.erase(100), -1);
        QCOMPARE(list.size(), 2u);
        QCOMPARE(list.erase(0), 0);
        QCOMPARE(list.size(), 1u);
        QCOMPARE(list.get(0), &b);
        QCOMPARE(list.get(5), static_cast<int*>(nullptr));
        QCOMPARE(list.insert(0, &a), 0);
        QCOMPARE(list.insert(5, &a), -1);
        QCOMPARE(list.get(0), &a);
    }

    void strListBasics()
    {
        ov::StrList list;
        list.add("b");
        QCOMPARE(list.insert(0, "a"), 0);
        QCOMPARE(QString(list.get(0)), QString("a"));
        QCOMPARE(QString(list.get(1)), QString("b"));
        QCOMPARE(QString(list.get(2)), QString(""));
        QCOMPARE(list.erase(2), -1);
        QCOMPARE(list.erase(0), 0);
        QCOMPARE(list.size(), 1u);
        list.clear();
        QCOMPARE(list.size(), 0u);
    }

    void filePathGenericForm()
    {
        ov::FilePath path;
        path.set("data//frames/./a.txt");
        // The generic form uses single "/" between the components.
        QCOMPARE(QString(path.get()), QString("data/frames/./a.txt"));
        ov::FilePath joined(std::filesystem::path("data") / "frames" / "a.txt");
        QCOMPARE(QString(joined.get()), QString("data/frames/a.txt"));
        path.set(L"wide/name.dsc");
        QCOMPARE(QString(path.get()), QString("wide/name.dsc"));
        path.set(static_cast<const char*>(nullptr));
        QCOMPARE(QString(path.get()), QString(""));
    }

    void stringFromWideText()
    {
        ov::String never;
        QCOMPARE(QString(never.get()), QString(""));
        ov::String s;
        s.set(L"Timepix 42");
        QCOMPARE(QString(s.get()), QString("Timepix 42"));
        std::setlocale(LC_CTYPE, "C.UTF-8");
        s.set(L"\u00b5A");
        QCOMPARE(QString::fromUtf8(s.get()),
            QString::fromUtf8("\xc2\xb5"
                              "A"));
        s.set(static_cast<const wchar_t*>(nullptr));
        QVERIFY(s.empty());
    }

    void sharedPtrReleasesAtZero()
    {
        Copy copy;
        {
            ov::SharedPtr<Copy> first(&copy);
            QCOMPARE(first.useCount(), 1);
            {
                ov::SharedPtr<Copy> second(first);
                ov::SharedPtr<Copy> third;
                third = second;
                QCOMPARE(first.useCount(), 3);
            }
            QCOMPARE(copy.released, 0);
            QCOMPARE(first.useCount(), 1);
        }
        QCOMPARE(copy.released, 1);
    }

    void sharedPtrClearZeroesBothFields()
    {
        Copy copy;
        ov::SharedPtr<Copy> ptr(&copy);
        ptr.clear();
        QCOMPARE(copy.released, 1);
        QVERIFY(!ptr.get());
        QCOMPARE(ptr.useCount(), 0);
        ptr.clear(); // twice is harmless
        QCOMPARE(copy.released, 1);
    }

    void devInfoLayout()
    {
        ov::DevInfo info {};
        info.kind = 22;
        info.serial = 0x01020304;
        const auto* bytes = reinterpret_cast<const unsigned char*>(&info);
        QCOMPARE(int(sizeof info), 24);
        QCOMPARE(int(bytes[8]), 22);
        QCOMPARE(int(bytes[16]), 4); // little-endian serial at byte 16
        QCOMPARE(int(bytes[19]), 1);
    }
};

QTEST_APPLESS_MAIN(TestOvValues)
#include "tst_ovvalues.moc"
