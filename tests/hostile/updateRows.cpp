#include "tests/hostile/rows.h"

namespace hostile {

namespace {

using namespace std::string_literals;

constexpr char kRole[] = "<val xsi:type='AuthorizationRole'><roleId>7</roleId><name>r</name></val>";

std::string Change(const std::string &op, const std::string &path, const std::string &value = "") {
    return "<changeSet><name>" + path + "</name><op>" + op + "</op>" + value + "</changeSet>";
}

/* The update stream goes on whatever it brought, and so does all else. */
Row Stream(const std::string &name, const std::string &bytes) {
    Row row{name, kAllWell, "WaitForUpdatesEx", bytes};
    row.maxAttacks = 1000;
    return row;
}

Row Updates(const std::string &name, const std::string &objects) {
    return Stream(name, Reply("WaitForUpdatesEx",
                              "<version>9</version><filterSet><filter type=\"PropertyFilter\">"
                              "filter-1</filter>" +
                                  objects + "</filterSet>",
                              "xsi:type=\"UpdateSet\"")
                            .bytes);
}

std::string Object(const std::string &changes, const std::string &kind = "modify",
                   const std::string &type = "AuthorizationManager",
                   const std::string &id = "AuthorizationManager") {
    return "<objectSet><kind>" + kind + "</kind>" + Reference("obj", type, id) + changes +
           "</objectSet>";
}

Row Changes(const std::string &name, const std::string &changes) {
    return Updates(name, Object(changes));
}

} // namespace

std::vector<Row> UpdateRows() {
    const std::string add = Change("add", "roleList", kRole);
    std::string keyed;
    for (int i = 0; i < 10000; i++)
        keyed += Object("", "enter", "VirtualMachine", "vm-" + std::to_string(i));
    return {
        Changes("a path of 100,000 pieces", Change("assign", Repeated("roleList.", 100000), kRole)),
        Changes("a path of 100,000 keys",
                Change("assign", "roleList" + Repeated("[1]", 100000), kRole)),
        Changes("a piece of 1 MB", Change("assign", std::string(1 << 20, 'a'), kRole)),
        Changes("a key without end", Change("remove", "roleList[1")),
        Changes("a key that is not there", Change("remove", "roleList[12345]")),
        Changes("a key of 40 digits", Change("remove", "roleList[" + std::string(40, '9') + "]")),
        Changes("a negative key", Change("remove", "roleList[-2]")),
        Changes("an element that was removed", add + Repeated(Change("remove", "roleList[7]"), 3) +
                                                   Change("assign", "roleList[7].name", kRole)),
        Changes("an empty path",
                Change("assign", "", kRole) + Change("add", "", kRole) + Change("remove", "")),
        Changes("no path", "<changeSet><op>assign</op></changeSet><changeSet/>"),
        Changes("an unknown operation", Change("explode", "roleList", kRole)),
        Changes("no value", Change("assign", "roleList") + Change("add", "roleList")),
        Changes("a value of another type",
                Change("assign", "roleList", "<val xsi:type='xsd:int'>1</val>") +
                    Change("add", "roleList", "<val xsi:type='xsd:string'>r</val>")),
        Changes("an array of another type",
                Change("assign", "roleList", "<val xsi:type='ArrayOfInt'><int>1</int></val>")),
        Changes("values of depth 240",
                Change("assign", "roleList",
                       Repeated("<val xsi:type='ArrayOfAnyType'>", 240) + Repeated("</val>", 240))),
        Changes("10,000 additions of privileges",
                Repeated(Change("add", "roleList",
                                "<val xsi:type='AuthorizationRole'><roleId>1</roleId>"
                                "<privilege>a</privilege></val>"),
                         10000)),
        Changes("20,000 assignments",
                Repeated(Change("assign", "roleList", "<val xsi:type='ArrayOfAuthorizationRole'/>"),
                         20000)),
        Updates("10,000 unknown objects", keyed),
        Updates("an object of an unknown class", Object(add, "enter", "Nothing", "n-1")),
        Updates("an object of another class",
                Object(add, "enter", "Folder", "AuthorizationManager")),
        Updates("an object of no class", "<objectSet><kind>enter</kind><obj>x</obj></objectSet>"),
        Updates("no object", "<objectSet><kind>modify</kind>" + add + "</objectSet><objectSet/>"),
        Updates("an unknown kind", Object(add, "explode")),
        Updates("leaves twice", Object("", "leave") + Object("", "leave") + Object(add)),
        Updates("enters twice", Object(add, "enter") + Object(add, "enter")),
        Stream("a set without anything",
               Reply("WaitForUpdatesEx", "", "xsi:type=\"UpdateSet\"").bytes),
        Stream("no set", Reply("WaitForUpdatesEx").bytes),
        Stream("a set of another class",
               Reply("WaitForUpdatesEx", "", "xsi:type=\"UserSession\"").bytes),
        Stream("a version of 1 MB",
               Reply("WaitForUpdatesEx", "<version>" + std::string(1 << 20, 'v') + "</version>",
                     "xsi:type=\"UpdateSet\"")
                   .bytes),
        Stream("another method's reply", Reply("Logout").bytes),
        Stream("a fault", Fault("InvalidCollectorVersion").bytes),
        Stream("no XML", HttpReply("hello").bytes),
    };
}

} // namespace hostile
