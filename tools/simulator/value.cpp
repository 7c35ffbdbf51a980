#include "tools/simulator/value.h"

#include <algorithm>
#include <cctype>
#include <optional>
#include <set>
#include <unordered_map>

#include <fmt/format.h>

namespace simulator {

namespace {

Value Make(ValueKind kind, std::string type, std::string text) {
    auto data = std::make_shared<ValueData>();
    data->kind = kind;
    data->type = std::move(type);
    data->text = std::move(text);
    return data;
}

/* The first part of a path: the name, the key in brackets with its quotes (if any), and the rest. */
struct Step {
    std::string_view name;
    std::string_view key;
    std::string_view rest;
};

Step FirstStep(std::string_view path) {
    size_t end = path.find_first_of(".[");
    Step step{path.substr(0, end), {}, {}};
    if (end != std::string_view::npos && path[end] == '[') {
        const size_t close = path.find(']', end);
        if (close == std::string_view::npos)
            return {path, {}, {}}; /* no field has such a name */
        step.key = path.substr(end + 1, close - end - 1);
        end = close + 1;
    }
    if (end < path.size() && path[end] == '.')
        step.rest = path.substr(end + 1);
    return step;
}

/* Returns the key of a list item as it is written in brackets; nothing for an item without one. */
std::optional<std::string> KeyOf(const Value &item) {
    const Value key = item->kind == ValueKind::Structure ? FieldOf(item, "key") : item;
    if (!key || key->kind == ValueKind::List || key->kind == ValueKind::Structure)
        return std::nullopt;
    if (key->text.find_first_of("[]\"") != std::string::npos)
        return std::nullopt;
    const bool isNumber =
        key->type == "xsd:int" || key->type == "xsd:long" || key->type == "xsd:short";
    return isNumber ? key->text : '"' + key->text + '"';
}

/* Returns the keys of all items in order; nothing if an item has none or two are equal. */
std::optional<std::vector<std::string>> KeysOf(const Value &list) {
    std::vector<std::string> keys;
    std::set<std::string> seen;
    for (const Value &item : list->items) {
        auto key = KeyOf(item);
        if (!key || !seen.insert(*key).second)
            return std::nullopt;
        keys.push_back(std::move(*key));
    }
    return keys;
}

std::unordered_map<std::string, size_t> Places(const std::vector<std::string> &keys) {
    std::unordered_map<std::string, size_t> places;
    for (size_t i = 0; i < keys.size(); i++)
        places.emplace(keys[i], i);
    return places;
}

/* Appends additions, removals and changed items. Returns false if these cannot describe the difference. */
bool AppendListDifference(const Value &before, const Value &after, const std::string &path,
                          std::vector<PropertyChange> &changes) {
    const auto oldKeys = KeysOf(before);
    const auto newKeys = KeysOf(after);
    if (!oldKeys || !newKeys)
        return false;

    const std::unordered_map<std::string, size_t> olds = Places(*oldKeys);
    const std::unordered_map<std::string, size_t> news = Places(*newKeys);
    std::vector<std::string> expected; /* the order after removing and adding at the end */
    for (const auto &key : *oldKeys)
        if (news.contains(key))
            expected.push_back(key);
    for (const auto &key : *newKeys)
        if (!olds.contains(key))
            expected.push_back(key);
    if (expected != *newKeys)
        return false;

    const auto place = [&path](const std::string &key) { return fmt::format("{}[{}]", path, key); };
    for (size_t i = 0; i < oldKeys->size(); i++) {
        const std::string &key = (*oldKeys)[i];
        const auto now = news.find(key);
        if (now == news.end())
            changes.push_back({"remove", place(key), nullptr});
        else if (before->items[i] != after->items[now->second])
            AppendDifference(before->items[i], after->items[now->second], place(key), true,
                             changes);
    }
    for (size_t i = 0; i < newKeys->size(); i++)
        if (!olds.contains((*newKeys)[i]))
            changes.push_back({"add", place((*newKeys)[i]), after->items[i]});
    return true;
}

void AppendFieldDifference(const Value &before, const Value &after, const std::string &path,
                           std::vector<PropertyChange> &changes) {
    for (const Field &field : before->fields)
        AppendDifference(field.value, FieldOf(after, field.name), path + "." + field.name, true,
                         changes);
    for (const Field &field : after->fields)
        if (!FieldOf(before, field.name))
            AppendDifference(nullptr, field.value, path + "." + field.name, true, changes);
}

/* Returns the element name of an item inside its "ArrayOf..." element. */
std::string ItemName(const Value &list) {
    std::string name = list->type.substr(sizeof("ArrayOf") - 1);
    if (!list->items.empty() && list->items[0]->type.starts_with("xsd:"))
        name[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(name[0])));
    return name;
}

void AppendStartTag(std::string &out, std::string_view name, const Value &value, bool typed) {
    out.append("<").append(name);
    if (value->kind == ValueKind::Reference)
        out.append(" type=\"").append(value->type).append("\"");
    const bool isReference = value->kind == ValueKind::Reference;
    if (typed || value->kind == ValueKind::Structure)
        out.append(" xsi:type=\"")
            .append(isReference ? std::string_view("ManagedObjectReference") : value->type)
            .append("\"");
    out.append(">");
}

} // namespace

Value Text(std::string text) {
    return Make(ValueKind::Simple, "xsd:string", std::move(text));
}
Value Int(int64_t number) {
    return Make(ValueKind::Simple, "xsd:int", std::to_string(number));
}
Value Long(int64_t number) {
    return Make(ValueKind::Simple, "xsd:long", std::to_string(number));
}
Value Truth(bool truth) {
    return Make(ValueKind::Simple, "xsd:boolean", truth ? "true" : "false");
}
Value Time(std::string text) {
    return Make(ValueKind::Simple, "xsd:dateTime", std::move(text));
}
Value Enum(std::string type, std::string word) {
    return Make(ValueKind::Simple, std::move(type), std::move(word));
}
Value Reference(std::string type, std::string id) {
    return Make(ValueKind::Reference, std::move(type), std::move(id));
}

Value Structure(std::string type, std::vector<Field> fields) {
    auto data = std::make_shared<ValueData>();
    data->kind = ValueKind::Structure;
    data->type = std::move(type);
    std::erase_if(fields, [](const Field &field) { return !field.value; });
    data->fields = std::move(fields);
    return data;
}

Value List(std::string element, std::vector<Value> items) {
    auto data = std::make_shared<ValueData>();
    data->kind = ValueKind::List;
    data->type = "ArrayOf" + std::move(element);
    data->items = std::move(items);
    return data;
}

Value References(std::vector<Value> items) {
    return List("ManagedObjectReference", std::move(items));
}

Value Texts(const std::vector<std::string> &items) {
    std::vector<Value> values;
    values.reserve(items.size());
    for (const auto &item : items)
        values.push_back(Text(item));
    return List("String", std::move(values));
}

Value WrappedFault(const std::string &type, const std::string &message, std::vector<Field> fields) {
    return Structure("LocalizedMethodFault", {{"fault", Structure(type, std::move(fields))},
                                              {"localizedMessage", Text(message)}});
}

bool Equal(const Value &a, const Value &b) {
    if (a == b)
        return true;
    if (!a || !b || a->kind != b->kind || a->type != b->type || a->text != b->text)
        return false;
    return std::ranges::equal(a->fields, b->fields,
                              [](const Field &x, const Field &y) {
                                  return x.name == y.name && Equal(x.value, y.value);
                              }) &&
           std::ranges::equal(a->items, b->items, Equal);
}

Value FieldOf(const Value &structure, std::string_view name) {
    if (!structure)
        return nullptr;
    for (const Field &field : structure->fields)
        if (field.name == name)
            return field.value;
    return nullptr;
}

Value WithField(const Value &structure, const std::string &name, const Value &value) {
    auto data = std::make_shared<ValueData>(*structure);
    const auto at = std::ranges::find(data->fields, name, &Field::name);
    if (!value) {
        if (at != data->fields.end())
            data->fields.erase(at);
    } else if (at != data->fields.end()) {
        at->value = value;
    } else {
        data->fields.push_back({name, value});
    }
    return data;
}

Value WithItem(const Value &list, const Value &item) {
    auto data = std::make_shared<ValueData>(*list);
    data->items.push_back(item);
    return data;
}

Value WithoutReference(const Value &list, std::string_view id) {
    return WithoutText(list, id);
}

Value WithoutText(const Value &list, std::string_view text) {
    auto data = std::make_shared<ValueData>(*list);
    std::erase_if(data->items, [&](const Value &item) { return item->text == text; });
    return data;
}

Value Resolve(const Value &value, std::string_view path) {
    if (path.empty() || !value)
        return value;
    const Step step = FirstStep(path);
    Value next = FieldOf(value, step.name);
    if (next && !step.key.empty()) {
        const Value list = next;
        next = nullptr;
        for (const Value &item : list->items)
            if (KeyOf(item) == step.key)
                next = item;
    }
    return Resolve(next, step.rest);
}

void AppendDifference(const Value &before, const Value &after, const std::string &path,
                      bool inParts, std::vector<PropertyChange> &changes) {
    if (Equal(before, after))
        return;
    if (inParts && before && after && before->kind == after->kind && before->type == after->type) {
        if (before->kind == ValueKind::Structure)
            return AppendFieldDifference(before, after, path, changes);
        const size_t numChanges = changes.size();
        if (before->kind == ValueKind::List && AppendListDifference(before, after, path, changes))
            return;
        changes.resize(numChanges);
    }
    changes.push_back({"assign", path, after});
}

void AppendEscaped(std::string &out, std::string_view text) {
    for (const char c : text) {
        switch (c) {
        case '&':
            out.append("&amp;");
            break;
        case '<':
            out.append("&lt;");
            break;
        case '>':
            out.append("&gt;");
            break;
        case '\r':
            out.append("&#13;");
            break;
        default: {
            const auto byte = static_cast<unsigned char>(c);
            out.push_back(byte < 0x20 && c != '\t' && c != '\n' ? '?' : c);
        }
        }
    }
}

void AppendElement(std::string &out, std::string_view name, const Value &value, bool typed) {
    if (!value)
        return;
    if (value->kind == ValueKind::List && !typed) {
        for (const Value &item : value->items)
            AppendElement(out, name, item, false);
        return;
    }
    AppendStartTag(out, name, value, typed);
    switch (value->kind) {
    case ValueKind::Simple:
    case ValueKind::Reference:
        AppendEscaped(out, value->text);
        break;
    case ValueKind::Structure:
        for (const Field &field : value->fields)
            AppendElement(out, field.name, field.value, field.any);
        break;
    case ValueKind::List: {
        const std::string itemName = ItemName(value);
        for (const Value &item : value->items)
            AppendElement(out, itemName, item, true);
    }
    }
    out.append("</").append(name).append(">");
}

} // namespace simulator
