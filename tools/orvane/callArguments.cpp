#include "tools/orvane/callArguments.h"

#include <algorithm>
#include <map>

#include <fmt/format.h>

#include "tools/orvane/failure.h"
#include "tools/orvane/nearestWord.h"
#include "tools/orvane/terminal.h"

namespace orvaneCli {

namespace {

std::vector<std::string> NamesOf(const OrvaneMethodInfo &method) {
    std::vector<std::string> names;
    for (guint i = 0; i < method.numArguments; i++)
        names.emplace_back(method.arguments[i].name);
    return names;
}

BadUsage UnknownArgument(const OrvaneMethodInfo &method, const std::string &word) {
    const std::vector<std::string> names = NamesOf(method);
    const std::string shown = Printable(word);
    if (names.empty())
        return BadUsage(Text(MSGID("call.noArguments") "%s has no argument \"%s\", and no other",
                             method.name, shown.c_str()));
    const std::string nearest = NearestWord(word, names);
    if (!nearest.empty())
        return BadUsage(
            Text(MSGID("call.similarArgument") "%s has no argument \"%s\"; did you mean "
                                               "\"%s\"?",
                 method.name, shown.c_str(), nearest.c_str()));
    return BadUsage(Text(MSGID("call.unknownArgument") "%s has no argument \"%s\"; it has: %s",
                         method.name, shown.c_str(),
                         fmt::format("{}", fmt::join(names, ", ")).c_str()));
}

} // namespace

CallArguments::CallArguments(const OrvaneMethodInfo &method, const std::vector<std::string> &words,
                             const ValueReader &reader) {
    std::map<std::string, std::vector<std::string>> given;
    for (const std::string &word : words) {
        NamedText named = SplitNamedText(word);
        given[named.name].push_back(std::move(named.text));
    }
    for (const std::string &name : NamesOf(method))
        given.try_emplace(name);
    if (given.size() > method.numArguments) {
        for (const auto &[name, texts] : given) {
            const std::vector<std::string> names = NamesOf(method);
            if (std::ranges::find(names, name) == names.end())
                throw UnknownArgument(method, name);
        }
    }
    values.resize(method.numArguments, GValue(G_VALUE_INIT));
    for (guint i = 0; i < method.numArguments; i++) {
        const OrvaneArgumentInfo &argument = method.arguments[i];
        const std::vector<std::string> &texts = given[argument.name];
        if (texts.empty() && (argument.flags & ORVANE_ARGUMENT_REQUIRED))
            throw BadUsage(Text(MSGID("call.missing") "%s needs %s=VALUE; see \"orvane call %s "
                                                      "--help\"",
                                method.name, argument.name, method.name));
        if (!texts.empty())
            reader.Read(argument.name, texts,
                        {argument.type, argument.elementType,
                         (argument.flags & ORVANE_ARGUMENT_LIKELY) != 0},
                        &values[i]);
    }
}

CallArguments::~CallArguments() {
    for (GValue &value : values)
        orvane_value_cond_unset(&value);
}

} // namespace orvaneCli
