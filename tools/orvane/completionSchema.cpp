#include "tools/orvane/completionSchema.h"

#include <algorithm>
#include <set>
#include <span>

#include <orvane/method.h>
#include <orvane/schema/ozy.h>
#include <orvane/schema/qorm.h>

#include "tools/orvane/methodRun.h"
#include "tools/orvane/propertyPath.h"
#include "tools/orvane/schemaWords.h"
#include "tools/orvane/setCommand.h"
#include "tools/orvane/specJson.h"

namespace orvaneCli {

namespace {

/* The words that a value can be; none for a type of which the schema does not list them. */
std::vector<std::string> ValueWords(GType type, GType elementType) {
    const GType single = elementType != 0 ? elementType : type;
    return single == G_TYPE_BOOLEAN ? std::vector<std::string>{"false", "true"} : WordsOf(single);
}

/* Whether "NAME=" is among the words. */
bool IsGiven(std::span<const std::string> words, const std::string &name) {
    return std::ranges::any_of(words,
                               [&](const std::string &word) { return word.starts_with(name); });
}

/* The arguments of a method that may still be given, or the values of the one before the "=". */
std::vector<std::string> ArgumentWords(GType type, const Completion &completion) {
    const std::string &method = completion.arguments[1];
    const auto given = std::span(completion.arguments).subspan(2);
    const std::vector<GType> classes =
        type != 0 ? std::vector<GType>{type} : ClassesWithMethod(method);
    std::set<std::string> words;
    for (const GType each : classes) {
        const MethodPtr info(orvane_method_info_new(each, method.c_str()));
        for (guint i = 0; info && i < info->numArguments; i++) {
            const OrvaneArgumentInfo &argument = info->arguments[i];
            const std::string name = std::string(argument.name) + "=";
            if (name == completion.before) {
                for (std::string &value : ValueWords(argument.type, argument.elementType))
                    words.insert(std::move(value));
            }
            if (completion.before.empty() && (argument.elementType != 0 || !IsGiven(given, name)))
                words.insert(name);
        }
    }
    return {words.begin(), words.end()};
}

/* The class whose properties the path can begin with. */
GType ClassWithProperties(GType type, const Completion &completion) {
    if (type != 0)
        return type;
    if (completion.command != "watch")
        return orvane_lookup_type("ManagedEntity"); /* registers those below it, too */
    const auto chosen = completion.options.find("--type");
    return chosen == completion.options.end() ? SKEMA_TYPE_OZY_VIRTUAL_MACHINE
                                              : orvane_lookup_type(chosen->second.c_str());
}

/* What the last dot precedes of "config.hardware.nu". */
std::string BeforeLastDot(const std::string &path) {
    const size_t dot = path.rfind('.');
    return dot == std::string::npos ? "" : path.substr(0, dot);
}

std::vector<std::string> PropertyWords(GType type, const std::string &start) {
    const std::string outer = BeforeLastDot(start);
    std::vector<std::string> words;
    bool isList = false; /* the last one */
    for (const PropertyChoice &each : PropertiesAt(type, outer)) {
        const std::string word = outer.empty() ? each.name : outer + "." + each.name;
        if (!word.starts_with(start))
            continue;
        words.push_back(word);
        isList = each.isList;
    }
    /* the path may end there, or lead on */
    if (words.size() == 1 && !PropertiesAt(type, words.front()).empty())
        words.push_back(words.front() + (isList ? "[*]." : "."));
    return words;
}

/* The properties of the description that the reconfigure method takes, or the values of the one before the "=". */
std::vector<std::string> SettingWords(GType type, const Completion &completion) {
    if (type == 0)
        return {};
    const bool isValue = !completion.before.empty();
    std::string rest = isValue ? completion.before.substr(0, completion.before.size() - 1)
                               : BeforeLastDot(completion.start);
    const auto given = std::span(completion.arguments).subspan(1);
    const std::string outer = isValue || rest.empty() ? "" : rest + ".";
    GType at = SpecTypeOf(type);
    while (!rest.empty()) {
        const std::string name = TakePiece(rest);
        const std::vector<SchemaFieldInfo> fields = FieldsOf(at);
        const auto field = std::ranges::find(fields, name, &SchemaFieldInfo::name);
        if (field == fields.end())
            return {};
        if (isValue && rest.empty())
            return ValueWords(field->type, field->elementType);
        at = field->type;
    }
    std::vector<std::string> words;
    std::string further;
    for (const SchemaFieldInfo &field : FieldsOf(at)) {
        const std::string word = outer + field.name;
        if (!word.starts_with(completion.start) ||
            (field.elementType == 0 && IsGiven(given, word + "=")))
            continue;
        words.push_back(word + "=");
        further = FieldsOf(field.type).empty() ? "" : word + ".";
    }
    if (words.size() == 1 && !further.empty())
        words.push_back(further);
    return words;
}

} // namespace

std::vector<std::string> SchemaWords(const Completion &completion, GType type) {
    switch (completion.kind) {
    case WordKind::kMethod:
        return type != 0 ? MethodNamesOf(type) : AllMethodNames();
    case WordKind::kArgument:
        return ArgumentWords(type, completion);
    case WordKind::kProperty:
        return PropertyWords(ClassWithProperties(type, completion), completion.start);
    case WordKind::kSetting:
        return SettingWords(type, completion);
    case WordKind::kFixed:
    case WordKind::kProfile:
    case WordKind::kPath:
    case WordKind::kJob:
    case WordKind::kTask:
        break; /* no words of the schema */
    }
    return {};
}

} // namespace orvaneCli
