// Host menus copied into the page: which items appear, and the tool-bar actions that
// stand for the host's "Measurement" and "Python Scripting" items.
#include "deviceset.h"
#include "devviewmpx2.h"
#include "devviewmpxui.h"
#include "qorvelmenu.h"
#include "simhost.h"

#include <QAction>
#include <QMenu>
#include <QTemporaryDir>
#include <QTest>
#include <QToolButton>

#include <memory>
#include <string>
#include <vector>

using namespace PluginDevControl;

namespace {

// A menu item of a hand-made tree; counts how often it runs.
class Item final : public ov::IMenuItem
{
public:
    enum Kind {
        Action,
        SubMenu,
        Separator
    };
    Item(Kind k, std::string t, std::string o = "tests")
        : kind(k), text(std::move(t)), who(std::move(o))
    { }
    Item* add(Kind k, const std::string& t, const std::string& o = "tests")
    {
        items.push_back(std::make_unique<Item>(k, t, o));
        return items.back().get();
    }
    bool isSubMenu() const override { return kind == SubMenu; }
    bool isSeparator() const override { return kind == Separator; }
    const char* title() const override { return text.c_str(); }
    const char* owner() const override { return who.c_str(); }
    void children(ov::PtrList<const ov::IMenuItem*>& out) const override
    {
        for (const auto& item : items)
            out.add(item.get());
    }
    void execute() const override { ++runs; }

    Kind kind;
    std::string text;
    std::string who;
    std::vector<std::unique_ptr<Item>> items;
    mutable int runs = 0;
};

class Hooks final : public ov::IUiHooks
{
public:
    explicit Hooks(const ov::IMenuItem* r) : root(r) { }
    const ov::IMenuItem* menuRoot() override { return root; }
    int runOnUiThread(ov::UiThreadFunc fn, void* arg, int) override
    {
        fn(reinterpret_cast<unsigned long>(arg));
        return 0;
    }
    int registerMenuChanged(ov::EventCallback, void*) override { return 0; }
    const ov::IMenuItem* root;
};

// The simulated host with a menu tree of the test's own.
class HostWithMenu final : public ov::IOrvel
{
public:
    HostWithMenu(sim::SimHost& h, ov::IUiHooks* hooks) : host(h), ui(hooks) { }
    int devices(ov::PtrList<ov::IDev*>& out) override { return host.devices(out); }
    ov::ISettings* moduleSettings(const char* m, ov::IDev* d, int f) override
    {
        return host.moduleSettings(m, d, f);
    }
    ov::ICoreSettings* settingsStore() override { return host.settingsStore(); }
    ov::IDataMgr* dataMgr() override { return host.dataMgr(); }
    ov::IDataFilterMgr* dataFilterMgr() override { return host.dataFilterMgr(); }
    int registerEvent(const char* name, ov::EventCallback cb, void* user) override
    {
        return host.registerEvent(name, cb, user);
    }
    int registerLogCallback(ov::LogCallback cb, void* user) override
    {
        return host.registerLogCallback(cb, user);
    }
    int unregisterLogCallback(ov::LogCallback cb, void* user) override
    {
        return host.unregisterLogCallback(cb, user);
    }
    ov::IUiHooks* uiHooks() override { return ui; }
    int requestExit() override { return 0; }

    sim::SimHost& host;
    ov::IUiHooks* ui;
};

QStringList titles(QMenu* menu)
{
    QStringList list;
    for (QAction* action : menu->actions())
        list << (action->isSeparator() ? QString("|") : action->text());
    return list;
}

} // namespace

class TestOrvelMenu : public QObject
{
    Q_OBJECT

private slots:
    void copiesTheTreeAndRunsItems()
    {
        Item root(Item::SubMenu, "root");
        Item* open = root.add(Item::Action, "Open");
        root.add(Item::Separator, "");
        Item* sub = root.add(Item::SubMenu, "More");
        Item* deep = sub->add(Item::Action, "Deep");
        root.add(Item::Action, "Host item", "Orvel");
        root.add(Item::Action, "Lesson", "lessonscript");

        QOrvelMenu all(false);
        all.addToQMenu(&root);
        QCOMPARE(titles(all.menu()), QStringList({"Open", "|", "More", "Host item"}));
        QOrvelMenu own(true);
        own.addToQMenu(&root);
        QCOMPARE(titles(own.menu()), QStringList({"Open", "|", "More"}));

        all.menu()->actions().at(0)->trigger();
        QCOMPARE(open->runs, 1);
        QMenu* more = all.menu()->actions().at(2)->menu();
        QVERIFY(more);
        QCOMPARE(titles(more), QStringList({"Deep"}));
        QCOMPARE(more->actions().at(0)->menuRole(), QAction::NoRole);
        more->actions().at(0)->trigger();
        QCOMPARE(deep->runs, 1);
        all.addToQMenu(nullptr);
        QCOMPARE(all.menu()->actions().size(), 4);
    }

    void measurementAndScriptingFollowTheHostMenu()
    {
        QTemporaryDir home;
        sim::SimHost sim(home.path());
        ov::IDev* dev = sim.connectDevice(sim::defaultDeviceSet().front());
        QVERIFY(dev);

        // Without a "Measurement" item the action is hidden.
        Item bare(Item::SubMenu, "root");
        bare.add(Item::Action, "Something else");
        Hooks bareHooks(&bare);
        HostWithMenu bareHost(sim, &bareHooks);
        {
            DevViewMpx2 view(nullptr, &bareHost, dev);
            QVERIFY(!view.form().acMeasurement->isVisible());
            QVERIFY(!view.form().acPythonScripting->isVisible());
        }

        // With both items both actions show and run them.
        Item full(Item::SubMenu, "root");
        Item* measurement = full.add(Item::Action, "Measurement");
        Item* scripting = full.add(Item::Action, "Python Scripting");
        Hooks fullHooks(&full);
        HostWithMenu fullHost(sim, &fullHooks);
        {
            DevViewMpx2 view(nullptr, &fullHost, dev);
            QVERIFY(view.form().acMeasurement->isVisible());
            QVERIFY(view.form().acPythonScripting->isVisible());
            view.form().acMeasurement->trigger();
            view.form().acPythonScripting->trigger();
            QCOMPARE(measurement->runs, 1);
            QCOMPARE(scripting->runs, 1);
            // The host menu button carries the device menu and the host's tree.
            QStringList entries = titles(view.hostMenuButton()->menu());
            QVERIFY(entries.contains("Measurement"));
            QVERIFY(entries.contains("Python Scripting"));
        }
        sim.dropCallbacks();
    }
};

QTEST_MAIN(TestOrvelMenu)
#include "tst_orvelmenu.moc"
