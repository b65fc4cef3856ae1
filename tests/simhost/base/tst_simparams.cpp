// Parameters of the simulated host: typed reads and writes, ranges, named values,
// read-only parameters, the owner's check and hook, and the manager's list.
#include <simparams.h>

#include <QtTest>

#include <cstdint>

using sim::SimParam;
using sim::SimParamMgr;

class TestSimParams : public QObject
{
    Q_OBJECT

private slots:
    void typedReadsConvert()
    {
        SimParam p("Gain", "Gain [0..1000]", ov::ParamU16);
        p.assign(300);
        QCOMPARE(p.u16Value(), uint16_t(300));
        QCOMPARE(p.i32Value(), 300);
        QCOMPARE(p.doubleValue(), 300.0);
        QCOMPARE(p.i8Value(), int8_t(127));           // clipped to the asked type
        QCOMPARE(p.byteValue(), uint8_t(300 & 0xff)); // the byte read keeps the low bits
        QCOMPARE(p.getString(), std::string("300"));
        QVERIFY(p.boolValue());
    }

    void writesOutsideTheTypeAreRefused()
    {
        SimParam p("Level", "", ov::ParamI8);
        QCOMPARE(p.setI32Value(-128), 0);
        QCOMPARE(p.i8Value(), int8_t(-128));
        QCOMPARE(p.setI32Value(128), int(sim::ParamErrRange));
        QCOMPARE(p.setDoubleValue(1.5), int(sim::ParamErrRange));
        QCOMPARE(p.i8Value(), int8_t(-128));
    }

    void theParametersOwnRangeHolds()
    {
        SimParam p("Timeout", "", ov::ParamDouble);
        p.setRange(0.0, 100.0).assign(5.0);
        QCOMPARE(p.setDoubleValue(100.5), int(sim::ParamErrRange));
        QCOMPARE(p.setDoubleValue(-1.0), int(sim::ParamErrRange));
        QCOMPARE(p.doubleValue(), 5.0);
        QCOMPARE(p.setStringValue("12.25"), 0);
        QCOMPARE(p.doubleValue(), 12.25);
        QCOMPARE(p.setStringValue("12,25"), int(sim::ParamErrNotNumber));
        QCOMPARE(p.setStringValue("abc"), int(sim::ParamErrNotNumber));
        QCOMPARE(p.doubleValue(), 12.25);
    }

    void whole64BitValuesSurvive()
    {
        SimParam s("A", "", ov::ParamI64);
        QCOMPARE(s.setI64Value(INT64_MIN), 0);
        QCOMPARE(s.i64Value(), INT64_MIN);
        SimParam u("B", "", ov::ParamU64);
        QCOMPARE(u.setU64Value(UINT64_MAX), 0);
        QCOMPARE(u.u64Value(), UINT64_MAX);
        QCOMPARE(u.setStringValue("18446744073709551615"), 0);
        QCOMPARE(u.setStringValue("-1"), int(sim::ParamErrNotNumber));
        QCOMPARE(u.setI64Value(-1), int(sim::ParamErrRange));
    }

    void boolsTakeTrueAndFalse()
    {
        SimParam p("On", "[true|false]", ov::ParamBool);
        QCOMPARE(p.getString(), std::string("false"));
        QCOMPARE(p.setBoolValue(true), 0);
        QVERIFY(p.boolValue());
        QCOMPARE(p.getString(), std::string("true"));
        QCOMPARE(p.setStringValue("FALSE"), 0);
        QVERIFY(!p.boolValue());
        QCOMPARE(p.setI32Value(2), int(sim::ParamErrRange));
    }

    void namedValues()
    {
        SimParam p("Edge", "[rising|falling]", ov::ParamU8);
        p.setAliases({{"rising", 0}, {"falling", 1}});
        QVERIFY(p.flags() & ov::ParamHasAliases);
        QCOMPARE(p.aliasList(), (std::vector<std::string> {"rising", "falling"}));
        QCOMPARE(p.getAliasValue(), std::string("rising"));
        QCOMPARE(p.setAliasValue("falling"), 0);
        QCOMPARE(p.byteValue(), uint8_t(1));
        QCOMPARE(p.getString(), std::string("falling"));
        QCOMPARE(p.setAliasValue("sideways"), int(sim::ParamErrNoAlias));
        QCOMPARE(p.setByteValue(7), int(sim::ParamErrNoAlias));
        QCOMPARE(p.setStringValue("rising"), 0);
        QCOMPARE(p.byteValue(), uint8_t(0));
    }

    void readOnlyRefusesEveryWrite()
    {
        SimParam p("Firmware", "Firmware version [string]", ov::ParamString, ov::ParamReadOnly);
        p.assignText("2.4.1");
        QCOMPARE(p.setStringValue("x"), int(sim::ParamErrReadOnly));
        QCOMPARE(p.setI32Value(1), int(sim::ParamErrReadOnly));
        QCOMPARE(p.setBoolValue(true), int(sim::ParamErrReadOnly));
        QCOMPARE(p.setAliasValue("x"), int(sim::ParamErrReadOnly));
        QCOMPARE(p.getString(), std::string("2.4.1"));
    }

    void theOwnerChecksAndHearsWrites()
    {
        SimParam p("Rate", "", ov::ParamU32);
        int heard = 0;
        p.setCheck([](const SimParam&, const sim::ParamValue& next) {
             return next.u % 2 ? -1 : 0;
         }).setChanged([&heard](const SimParam& param) { heard = int(param.u32Value()); });
        QCOMPARE(p.setU32Value(3), int(sim::ParamErrRefused));
        QCOMPARE(heard, 0);
        QCOMPARE(p.u32Value(), 0u);
        QCOMPARE(p.setU32Value(4), 0);
        QCOMPARE(heard, 4);
    }

    void refusedWritesAreHeardWithValueAndReason()
    {
        struct Heard
        {
            std::string name;
            int code = 0;
            std::string value;
            std::string why;
        };
        std::vector<Heard> heard;
        SimParamMgr mgr;
        // One parameter from before the hook was set, the others from after: all hear it.
        SimParam& count = mgr.add("Count", "", ov::ParamU32, ov::ParamReadOnly);
        mgr.setRefused([&heard](const SimParam& p, int code, const std::string& value) {
            heard.push_back({p.name(), code, value, p.refusalText(code)});
        });
        SimParam& timeout = mgr.add("Timeout", "[0..1000]", ov::ParamU16);
        timeout.setRange(0, 1000);
        SimParam& edge = mgr.add("Edge", "[rising|falling]", ov::ParamU8);
        edge.setAliases({{"rising", 0}, {"falling", 1}});

        QCOMPARE(timeout.setU16Value(2000), int(sim::ParamErrRange));
        QCOMPARE(edge.setAliasValue("sideways"), int(sim::ParamErrNoAlias));
        QCOMPARE(edge.setStringValue("sideways"), int(sim::ParamErrNoAlias));
        QCOMPARE(count.setU32Value(5), int(sim::ParamErrReadOnly));
        QCOMPARE(timeout.setStringValue("soon"), int(sim::ParamErrNotNumber));
        QCOMPARE(timeout.setU16Value(300), 0); // taken: nothing heard
        QCOMPARE(int(heard.size()), 5);
        QCOMPARE(heard[0].name, std::string("Timeout"));
        QCOMPARE(heard[0].value, std::string("2000"));
        QCOMPARE(heard[0].why, std::string("outside 0..1000"));
        QCOMPARE(heard[1].value, std::string("sideways"));
        QCOMPARE(heard[1].why, std::string("not one of rising|falling"));
        QCOMPARE(heard[2].code, int(sim::ParamErrNoAlias));
        QCOMPARE(heard[3].name, std::string("Count"));
        QCOMPARE(heard[3].why, std::string("the parameter is read-only"));
        QCOMPARE(heard[4].value, std::string("soon"));
        QCOMPARE(heard[4].code, int(sim::ParamErrNotNumber));
        QCOMPARE(timeout.u16Value(), uint16_t(300));
        QCOMPARE(edge.getAliasValue(), std::string("rising"));
    }

    void managerListsInOrderAndFindsByName()
    {
        SimParamMgr mgr;
        mgr.add("B", "", ov::ParamI32);
        mgr.add("A", "", ov::ParamString);
        const std::vector<ov::IParam*> all = mgr.params();
        QCOMPARE(int(all.size()), 2);
        QCOMPARE(QString(all[0]->name()), QString("B"));
        QCOMPARE(QString(all[1]->name()), QString("A"));
        QCOMPARE(mgr.param("A"), all[1]);
        QVERIFY(!mgr.param("C"));
        QVERIFY(!mgr.param(nullptr));
    }
};

QTEST_GUILESS_MAIN(TestSimParams)
#include "tst_simparams.moc"
