// Value domains in parameter descriptions.
#include "paramparser.h"

#include <QtTest>

namespace {

QStringList toQt(const std::vector<std::string>& values)
{
    QStringList list;
    for (const auto& v : values)
        list << QString::fromStdString(v);
    return list;
}

} // namespace

class TestParamParser : public QObject
{
    Q_OBJECT

private slots:
    void parse_data()
    {
        QTest::addColumn<QString>("description");
        QTest::addColumn<int>("type");
        QTest::addColumn<QStringList>("values");

        // Type 0: exactly "true|false".
        QTest::newRow("bool") << "Mode [true|false]" << 0 << QStringList {"true", "false"};
        QTest::newRow("bool other case is a list")
            << "Mode [True|False]" << 3 << QStringList {"True", "False"};
        QTest::newRow("bool reversed is a list")
            << "Mode [false|true]" << 3 << QStringList {"false", "true"};
        // Type 1: exactly "0|1" or "log 0|log 1".
        QTest::newRow("zero one") << "Polarity [0|1]" << 1 << QStringList {"0", "1"};
        QTest::newRow("log levels")
            << "Trigger [log 0|log 1]" << 1 << QStringList {"log 0", "log 1"};
        QTest::newRow("one zero is a list") << "X [1|0]" << 3 << QStringList {"1", "0"};
        // Type 2: "digits..digits" anywhere inside.
        QTest::newRow("range") << "Delay [0..1000] ms" << 2 << QStringList {"0..1000"};
        QTest::newRow("range inside text")
            << "Gain [from 1..16 steps]" << 2 << QStringList {"from 1..16 steps"};
        QTest::newRow("range wins over bars")
            << "Level [off|1..5]" << 2 << QStringList {"off", "1..5"};
        QTest::newRow("decimal range") << "V [1.5..2]" << 2 << QStringList {"1.5..2"};
        QTest::newRow("negative range") << "T [-10..10]" << 2 << QStringList {"-10..10"};
        QTest::newRow("open range") << "N [0..]" << 5 << QStringList {"0.."};
        QTest::newRow("three dots") << "N [1...2]" << 5 << QStringList {"1...2"};
        // Type 3: any other text with a bar.
        QTest::newRow("list") << "Source [ext|int|auto]" << 3 << QStringList {"ext", "int", "auto"};
        QTest::newRow("list keeps blanks") << "S [ a | b c ]" << 3 << QStringList {" a ", " b c "};
        QTest::newRow("empty pieces dropped") << "S [|a||b|]" << 3 << QStringList {"a", "b"};
        QTest::newRow("only bars") << "S [||]" << 3 << QStringList {};
        // Type 4: exactly "string".
        QTest::newRow("string") << "Name [string]" << 4 << QStringList {"string"};
        QTest::newRow("String capital") << "Name [String]" << 5 << QStringList {"String"};
        // Type 5: nothing usable.
        QTest::newRow("no domain") << "Plain text without domain" << 5 << QStringList {};
        QTest::newRow("single word") << "[abc]" << 5 << QStringList {"abc"};
        QTest::newRow("empty brackets") << "X []" << 5 << QStringList {};
        QTest::newRow("empty then real") << "X [] [0|1]" << 1 << QStringList {"0", "1"};
        QTest::newRow("unclosed") << "X [0|1" << 5 << QStringList {};
        QTest::newRow("only closing") << "X 0|1]" << 5 << QStringList {};
        QTest::newRow("empty description") << "" << 5 << QStringList {};
        // The first bracket part counts.
        QTest::newRow("first of two")
            << "A [true|false] B [0..5]" << 0 << QStringList {"true", "false"};
        QTest::newRow("nested opening") << "A [[x|y]" << 3 << QStringList {"[x", "y"};
        QTest::newRow("line feed inside") << "A [x\n|y]" << 3 << QStringList {"x\n", "y"};
    }
    void parse()
    {
        QFETCH(QString, description);
        QFETCH(int, type);
        QFETCH(QStringList, values);
        const std::string text = description.toStdString();
        QCOMPARE(getParamType(text), type);
        QCOMPARE(toQt(parseParamValues(text)), values);
    }

    // Text far longer than any real description must not exhaust the stack.
    // Only the first 2048 characters are looked at.
    void longDescriptions()
    {
        const std::string longList = "[" + std::string(1500, 'a') + "|b]";
        QCOMPARE(getParamType(longList), 3);
        QCOMPARE(parseParamValues(longList).size(), size_t(2));

        const std::string huge(1'000'000, 'x');
        for (const std::string& text : {"[" + huge + "|b]",
                 "[" + std::string(500'000, '1') + "..2]", std::string(200'000, '['),
                 "[" + std::string(300'000, '|') + "]", "Mode " + huge + " [0|1]"}) {
            QCOMPARE(getParamType(text), 5);
            QVERIFY(parseParamValues(text).empty());
        }
        // A domain that lies wholly inside the looked-at part is still found.
        const std::string late = std::string(2000, ' ') + "[0|1]" + huge;
        QCOMPARE(getParamType(late), 1);
        QCOMPARE(parseParamValues(late).size(), size_t(2));
    }
};

QTEST_GUILESS_MAIN(TestParamParser)
#include "tst_paramparser.moc"
