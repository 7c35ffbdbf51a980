#include "tools/simulator/overlay.h"

#include <algorithm>
#include <stdexcept>

#include <fmt/format.h>

#include "ozy/lib/schemaRows/schemaValues.h"
#include "ozy/lib/schemaText/schemaFiles.h"
#include "ozy/lib/schemaText/schemaNames.h"
#include "ozy/lib/schemaText/schemaOverlay.h"
#include "tools/simulator/soapReply.h"

namespace simulator {

namespace {

constexpr int kMaxDepth = 3; /* of objects in objects; their classes may hold each other */

Value Simple(std::string type, std::string text) {
    return std::make_shared<const ValueData>(
        ValueData{ValueKind::Simple, std::move(type), std::move(text), {}, {}});
}

/* "101" of "vm-101"; 1 for an id without a number. */
std::string NumberOf(const std::string &id) {
    const size_t at = id.find_last_not_of("0123456789");
    const std::string digits = at == std::string::npos ? id : id.substr(at + 1);
    return digits.empty() || digits.size() > 9 ? "1" : digits;
}

std::string Capitalised(std::string word) {
    if (!word.empty() && word[0] >= 'a' && word[0] <= 'z')
        word[0] = static_cast<char>(word[0] - 'a' + 'A');
    return word;
}

/* An example of a value of a type that is built in. */
Value BuiltIn(SchemaValueKind kind, const std::string &field, const std::string &id) {
    const SchemaValueWords &words = SchemaValue_Words(kind);
    const int number = std::stoi(NumberOf(id));
    return Simple(std::string(words.wireType.empty() ? "xsd:string" : words.wireType),
                  fmt::format(fmt::runtime(words.example),
                              fmt::arg("number", words.limit == 0 ? number : number % words.limit),
                              fmt::arg("truth", number % 2 == 0), fmt::arg("field", field),
                              fmt::arg("id", id)));
}

} // namespace

struct Overlay::State {
    SchemaModel model;
    SchemaIndex index;
    std::string version;

    void Read(const std::string &path);
    bool IsShown(const TableType &type, const TableField &field) const;
    /* The classes from the base down, as far as the overlays have them. */
    std::vector<const TableType *> ChainOf(const std::string &type) const;
    Value One(const TableField &field, const std::string &id, int depth) const;
    Value ValueFor(const TableField &field, const std::string &id, int depth) const;
    /* `structure` with the fields that it lacks. */
    Value Filled(const Value &structure, const std::string &id, int depth) const;
};

void Overlay::State::Read(const std::string &path) {
    std::string text;
    std::string why;
    if (!SchemaFiles_Read(path, &text, &why))
        throw std::runtime_error(why);
    SchemaErrors errors;
    SchemaModel overlay;
    if (!SchemaText_Parse(&overlay, path.c_str(), text, &errors) ||
        !SchemaOverlay_Apply(&model, std::move(overlay), &errors))
        throw std::runtime_error(errors.messages.front());
}

bool Overlay::State::IsShown(const TableType &type, const TableField &field) const {
    const std::string &since = field.version.empty() ? type.version : field.version;
    return since.empty() || since == "all" || VersionHas(version, since);
}

std::vector<const TableType *> Overlay::State::ChainOf(const std::string &type) const {
    std::vector<const TableType *> chain;
    const TableType *at = SchemaIndex_Find(index, model, type);
    /* bases are not checked here, so they may lead in a circle */
    while (at != nullptr && std::ranges::find(chain, at) == chain.end()) {
        chain.insert(chain.begin(), at);
        at = SchemaIndex_Find(index, model, at->base);
    }
    return chain;
}

Value Overlay::State::One(const TableField &field, const std::string &id, int depth) const {
    if (const auto kind = SchemaNames_BuiltIn(field.type.name))
        return BuiltIn(*kind, field.name, id);
    const TableType *type = SchemaIndex_Find(index, model, field.type.name);
    if (type == nullptr || type->form == SCHEMA_FORM_MANAGED)
        return nullptr;
    if (type->form == SCHEMA_FORM_ENUM)
        return Enum(type->name, type->words.front().word);
    return depth < kMaxDepth ? Filled(Structure(type->name, {}), id, depth + 1) : nullptr;
}

Value Overlay::State::ValueFor(const TableField &field, const std::string &id, int depth) const {
    const Value one = One(field, id, depth);
    if (!one || !field.type.isArray)
        return one;
    return List(Capitalised(field.type.name), {one});
}

Value Overlay::State::Filled(const Value &structure, const std::string &id, int depth) const {
    std::vector<Field> fields = structure->fields;
    for (const TableType *type : ChainOf(structure->type)) {
        for (const TableField &field : type->fields) {
            if (FieldOf(structure, field.name) || !IsShown(*type, field))
                continue;
            if (const Value value = ValueFor(field, id, depth))
                fields.push_back({field.name, value, field.type.name == "any"});
        }
    }
    return Structure(structure->type, std::move(fields));
}

Overlay::Overlay(const std::vector<std::string> &paths, const std::string &version)
    : state(std::make_unique<State>()) {
    state->version = version;
    std::vector<std::string> files;
    for (const std::string &path : paths) {
        std::string why;
        if (!SchemaFiles_List(path, &files, &why))
            throw std::runtime_error(why);
    }
    for (const std::string &file : files)
        state->Read(file);
    for (const TableType &type : state->model.types)
        if (type.form == SCHEMA_FORM_ENUM && type.words.empty())
            throw std::runtime_error(fmt::format("{}: enumeration '{}' without words",
                                                 SchemaPlace_Text(state->model, type.place),
                                                 type.name));
    state->index = SchemaIndex_Make(state->model);
}

Overlay::~Overlay() = default;

void Overlay::Complete(const std::string &type, const std::string &id,
                       std::vector<Field> &properties) const {
    for (Field &property : properties)
        if (property.value && property.value->kind == ValueKind::Structure)
            property.value = state->Filled(property.value, id, 1);
    for (const TableType *known : state->ChainOf(type)) {
        for (const TableField &field : known->fields) {
            const auto at = std::ranges::find(properties, field.name, &Field::name);
            if (at != properties.end() || !state->IsShown(*known, field))
                continue;
            if (const Value value = state->ValueFor(field, id, 0))
                properties.push_back({field.name, value, field.type.name == "any"});
        }
    }
}

} // namespace simulator
