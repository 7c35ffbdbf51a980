/*
 * value.h -- values of properties, and the differences between two
 *
 *   Text("a")                                      <val xsi:type="xsd:string">a</val>
 *   Enum("TaskInfoState", "running")               <val xsi:type="TaskInfoState">running</val>
 *   Reference("Task", "task-1")                    <val type="Task" xsi:type="...">task-1</val>
 *   List("String", {Text("a")})                    <val xsi:type="ArrayOfString"><string>a</string></val>
 *   Structure("TaskInfo", {{"key", Text("k")}})    <val xsi:type="TaskInfo"><key>k</key></val>
 *
 * Values are immutable. Null is the value of a property that is not set.
 */
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace simulator {

struct ValueData;
using Value = std::shared_ptr<const ValueData>;

struct Field {
    std::string name;
    Value value;
    bool any = false; /* declared without a type, so that its element has an xsi:type */
};

enum class ValueKind { Simple, Reference, Structure, List };

struct ValueData {
    ValueKind kind;
    std::string type; /* as in xsi:type; of a reference, the class of the object */
    std::string text; /* Simple: unescaped; Reference: the id */
    std::vector<Field> fields;
    std::vector<Value> items;
};

Value Text(std::string text);
Value Int(int64_t number);
Value Long(int64_t number);
Value Truth(bool truth);
Value Time(std::string text);
Value Enum(std::string type, std::string word);
Value Reference(std::string type, std::string id);
Value Structure(std::string type, std::vector<Field> fields);
/* `element` is the word after "ArrayOf" in XML; references have "ManagedObjectReference". */
Value List(std::string element, std::vector<Value> items);
Value References(std::vector<Value> items);
Value Texts(const std::vector<std::string> &items);
/* Returns a fault in the wrapper that faults in data have. */
Value WrappedFault(const std::string &type, const std::string &message,
                   std::vector<Field> fields = {});

bool Equal(const Value &a, const Value &b);

/* Returns a field of a structure; null if there is none. */
Value FieldOf(const Value &structure, std::string_view name);
/* Returns the structure with one field replaced, added at the end, or (null) removed. */
Value WithField(const Value &structure, const std::string &name, const Value &value);
/* Each returns the list with an item added at its end, or without the items that refer to the id. */
Value WithItem(const Value &list, const Value &item);
Value WithoutReference(const Value &list, std::string_view id);
Value WithoutText(const Value &list, std::string_view text);

/* Returns the value at a path such as `state`, `a.b`, `list["key"].field`; null if there is none. */
Value Resolve(const Value &value, std::string_view path);

struct PropertyChange {
    std::string op; /* "assign", "add" or "remove" */
    std::string path;
    Value value;
};

/* Appends the changes from `before` to `after`. With partial updates these are the fields and list items that
 * differ; a list whose items have no key, or another order, is assigned as a whole. */
void AppendDifference(const Value &before, const Value &after, const std::string &path,
                      bool inParts, std::vector<PropertyChange> &changes);

/* Appends text as the content of an element; bytes that XML does not allow become question marks. */
void AppendEscaped(std::string &out, std::string_view text);

/* Appends <name>...</name>. A typed element has an xsi:type; a list is one element per item, or, if it is
 * typed, one element that contains its items. */
void AppendElement(std::string &out, std::string_view name, const Value &value, bool typed = false);

} // namespace simulator
