#include "tools/orvane/callArguments.h"

#include <algorithm>
#include <cstring>
#include <map>

#include <fmt/format.h>

#include "tools/orvane/failure.h"
#include "tools/orvane/nearestWord.h"
#include "tools/orvane/terminal.h"
#include "tools/orvane/wipedTexts.h"

namespace orvaneCli {

namespace {

std::vector<std::string> NamesOf(const OrvaneMethodInfo &method) {
    std::vector<std::string> names;
    for (guint i = 0; i < method.numArguments; i++)
        names.emplace_back(method.arguments[i].name);
    return names;
}

/* The texts of each argument, which are wiped. */
struct GivenTexts {
    std::map<std::string, std::vector<std::string>> byName;
    ~GivenTexts() {
        for (auto &[name, texts] : byName)
            const WipedTexts wiped(texts);
    }
};

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
    GivenTexts owner;
    auto &given = owner.byName;
    for (const std::string &word : words) {
        NamedText named = SplitNamedText(word);
        given[named.name].push_back(named.text);
        WipeText(named.text);
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
    for (GValue &value : values) {
        if (G_VALUE_HOLDS_STRING(&value)) {
            auto *text = const_cast<char *>(g_value_get_string(&value)); /* it owns a copy */
            explicit_bzero(text, strlen(text));
        }
        orvane_value_cond_unset(&value);
    }
}

} // namespace orvaneCli
