/*
 * updateTexts.h -- the texts of updates and of contents
 *
 *   service->Update(Enter("VirtualMachine", "vm-1", Assign("name", String("a"))) +
 *                   Modify("vm-2", Change("remove", "tag[1]")));
 */
#pragma once

#include "tests/ozy/lib/orvane/session/sessionFixture.h"

inline std::string Tag(const std::string &name, const std::string &content,
                       const std::string &attributes = "") {
    return "<" + name + attributes + ">" + content + "</" + name + ">";
}

/* Values of changes. */
inline std::string Typed(const std::string &type, const std::string &content) {
    return Tag("val", content, " xsi:type=\"" + type + "\"");
}
inline std::string String(const std::string &text) {
    return Typed("xsd:string", text);
}

/* A list of one reference. */
inline std::string ListOf(const std::string &type, const std::string &id) {
    return Typed("ArrayOfManagedObjectReference",
                 Tag("ManagedObjectReference", id,
                     " type=\"" + type + "\" xsi:type=\"ManagedObjectReference\""));
}

inline std::string Change(const std::string &op, const std::string &name,
                          const std::string &value = "") {
    return Tag("changeSet", Tag("name", name) + Tag("op", op) + value);
}
inline std::string Assign(const std::string &name, const std::string &value) {
    return Change("assign", name, value);
}

/* The changes of one object. */
inline std::string Object(const std::string &kind, const std::string &type, const std::string &id,
                          const std::string &changes = "") {
    return Tag("objectSet", Tag("kind", kind) + Reference("obj", type, id) + changes);
}
inline std::string Enter(const std::string &type, const std::string &id,
                         const std::string &changes = "") {
    return Object("enter", type, id, changes);
}
inline std::string Modify(const std::string &id, const std::string &changes) {
    return Object("modify", "VirtualMachine", id, changes);
}

/* The information of task-1, and more of it. */
inline std::string TaskUpdate(const std::string &kind, const std::string &state,
                              const std::string &more) {
    const std::string info = Tag("key", "k") + Tag("state", state) + more;
    return Object(kind, "Task", "task-1", Assign("info", Typed("TaskInfo", info)));
}
