#include "tools/simulator/overlay.h"
#include "tests/support/paths.h"

#include <stdexcept>

#include "tests/support/temporaryFolder.h"
#include "tests/tools/simulator/soapClient.h"

namespace {

using simulator::Overlay;

/* Returns a property of a new machine as XML. */
std::string Shown(const std::string &text, const std::string &version) {
    const TemporaryFolder folder;
    const std::string file = folder.Write("a.schema", "namespace ozy\n" + text);
    std::vector<simulator::Field> properties = {
        {"runtime", simulator::Structure("Runtime", {{"state", simulator::Text("on")}})}};
    Overlay({file}, version).Complete("VirtualMachine", "vm-102", properties);
    std::string shown;
    for (const simulator::Field &property : properties)
        simulator::AppendElement(shown, property.name, property.value);
    return shown;
}

TEST(SimulatorOverlay, GivesMachinesWhatItNames) {
    const std::string before = "<runtime xsi:type=\"Runtime\"><state>on</state>";
    const std::pair<const char *, const char *> rows[] = {
        {"data Runtime ...\n  state int\n  note string\n  number int\n  even boolean\n",
         "<note>note of vm-102</note><number>102</number><even>true</even></runtime>"},
        {"data Runtime ...\n  list int[]?\n  small byte\n",
         "<list>102</list><small>102</small></runtime>"},
        {"data Runtime ...\n  word Word\n  host HostSystem?\nenum Word\n  one two\n",
         "<word>one</word></runtime>"},
        {"data Runtime ...\n  old int @ozy25/4.0\n  new int @ozy25/6.0\n",
         "<old>102</old></runtime>"},
        {"managed VirtualMachine\n  summary Summary\ndata Summary : Base @all\n  a int\n"
         "data Base : DynamicData @all\n  b int\n",
         "</runtime><summary xsi:type=\"Summary\"><b>102</b><a>102</a></summary>"},
        /* classes that hold each other have an end */
        {"managed VirtualMachine\n  a Loop\ndata Loop : Loop @all\n  l Loop\n",
         "</runtime><a xsi:type=\"Loop\"><l xsi:type=\"Loop\"><l xsi:type=\"Loop\"></l></l></a>"},
    };
    for (const auto &[text, shown] : rows) {
        EXPECT_EQ(before + shown, Shown(text, "ozy25/5.0")) << text;
    }
}

TEST(SimulatorOverlay, SaysWhatIsWrong) {
    const TemporaryFolder folder;
    const std::string file = folder.Write("bad.schema", "namespace ozy\ndata X\n  a\n");
    EXPECT_THROW(Overlay({file}, "ozy25/6.0"), std::runtime_error);
    EXPECT_THROW(Overlay({file + "-none"}, "ozy25/6.0"), std::runtime_error);
    const std::string empty = folder.Write("empty.schema", "namespace ozy\nenum X\n");
    EXPECT_THROW(Overlay({empty}, "ozy25/6.0"), std::runtime_error);
}

TEST(SimulatorOverlay, ClientsReadTheExample) {
    SimulatedService service({.machines = 1, .overlay = {SourcePath("examples/overlay")}});
    const std::tuple<const char *, const char *, const char *> rows[] = {
        {"vm-101", "summary.priority", "low"},
        {"vm-101", "runtime.powerState", "poweredOff"},
        {"vm-101", "runtime.uptimeMinutes", "101"},
        {"host-9", "summary.fanSpeed", "9.5"}};
    for (const auto &[id, property, value] : rows)
        EXPECT_EQ(value, service.server.Property(id, property)) << property;
}

} // namespace
