#include "tools/orvane/objectFilter.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <optional>

#include "tools/orvane/failure.h"
#include "tools/orvane/message.h"
#include "tools/orvane/operation.h"
#include "tools/orvane/owners.h"
#include "tools/orvane/schemaWords.h"
#include "tools/orvane/terminal.h"

#include <fmt/ranges.h>
#include <orvane/objectPath.h>

namespace orvaneCli {

namespace {

/* Longer ones first. */
constexpr auto kRelations =
    std::to_array<std::string_view>({"==", "!=", "<=", ">=", "<", ">", "~"});

BadUsage NoCondition(const std::string &text) {
    return BadUsage(Text(MSGID("filter.bad") "--filter: \"%s\" is no condition such as "
                                             "'runtime.powerState == poweredOn'",
                         Printable(text).c_str()));
}

/* Words, relations and texts in quotation marks, which keep the first of theirs. */
std::vector<std::string> SplitCondition(const std::string &text) {
    std::vector<std::string> words;
    bool isInBrackets = false; /* of a path, whose key may have any letters */
    for (size_t i = 0; i < text.size();) {
        if (text[i] == ' ' || text[i] == '\t') {
            i++;
            continue;
        }
        if (text[i] == '"') {
            const size_t end = text.find('"', i + 1);
            if (end == std::string::npos)
                throw NoCondition(text);
            words.push_back(text.substr(i, end - i));
            i = end + 1;
            continue;
        }
        const auto relation = [&] {
            return std::ranges::find_if(kRelations, [&](std::string_view each) {
                return text.compare(i, each.size(), each) == 0;
            });
        };
        if (relation() != kRelations.end()) {
            words.emplace_back(*relation());
            i += words.back().size();
            continue;
        }
        words.emplace_back();
        while (i < text.size() && (isInBrackets || (text[i] != ' ' && text[i] != '\t' &&
                                                    relation() == kRelations.end()))) {
            isInBrackets = (isInBrackets || text[i] == '[') && text[i] != ']';
            words.back() += text[i++];
        }
    }
    return words;
}

std::optional<double> NumberOf(const std::string &text) {
    char *end = nullptr;
    const double number = std::strtod(text.c_str(), &end);
    const bool isWhole = end == text.c_str() + text.size() && !text.empty();
    return isWhole && std::isfinite(number) ? std::optional(number) : std::nullopt;
}

bool Holds(const std::string &found, const std::string &relation, const std::string &value) {
    if (relation == "~") {
        const GPtr<char> text(g_utf8_casefold(found.c_str(), -1));
        const GPtr<char> part(g_utf8_casefold(value.c_str(), -1));
        return std::string_view(text.get()).find(part.get()) != std::string_view::npos;
    }
    const auto number = NumberOf(found);
    const auto other = NumberOf(value);
    const auto order =
        number && other ? *number <=> *other : std::partial_ordering(found.compare(value) <=> 0);
    if (relation == "==")
        return order == 0;
    if (relation == "<")
        return order < 0;
    if (relation == "<=")
        return order <= 0;
    return relation == ">" ? order > 0 : order >= 0;
}

bool IsNumber(GType type) {
    const GType numbers[] = {G_TYPE_CHAR, G_TYPE_INT, G_TYPE_INT64, G_TYPE_FLOAT, G_TYPE_DOUBLE};
    return std::ranges::find(numbers, type) != std::end(numbers);
}

/* Throws if a text cannot be a value of a type. */
void CheckValue(const std::string &value, GType type) {
    std::vector<std::string> words = WordsOf(type);
    if (type == G_TYPE_BOOLEAN)
        words = {"true", "false"};
    if (!words.empty() && std::ranges::find(words, value) == words.end())
        throw BadUsage(Text(MSGID("filter.word") "--filter: \"%s\" is no %s; there are: %s",
                            value.c_str(), TypeWord(type).c_str(),
                            fmt::format("{}", fmt::join(words, ", ")).c_str()));
    if (IsNumber(type) && !NumberOf(value))
        throw BadUsage(Text(MSGID("filter.number") "--filter: \"%s\" is no %s", value.c_str(),
                            TypeWord(type).c_str()));
}

/* The texts of a property: of each element, if the path leads to several. */
std::vector<std::string> TextsOf(GObject *object, const std::string &path) {
    const GPtr<char> whole(orvane_object_get_path_text(object, path.c_str()));
    if (!whole)
        return {};
    GValue value = G_VALUE_INIT;
    std::vector<std::string> texts;
    if (path.find("[*]") != std::string::npos &&
        orvane_object_get_path(object, path.c_str(), &value)) {
        const auto *array = static_cast<const GValueArray *>(g_value_get_boxed(&value));
        for (guint i = 0; i < array->n_values; i++)
            texts.push_back(ValueText(&array->values[i]));
    } else {
        texts.push_back(Printable(whole.get()));
    }
    orvane_value_cond_unset(&value);
    return texts;
}

} // namespace

ObjectFilter::ObjectFilter(const std::string &text) {
    const std::vector<std::string> words = SplitCondition(text);
    if (words.empty())
        return;
    groups.emplace_back();
    for (size_t i = 0; i < words.size(); i += 4) {
        if (i + 3 > words.size() || std::ranges::find(kRelations, words[i + 1]) == kRelations.end())
            throw NoCondition(text);
        std::string value = words[i + 2];
        if (value.starts_with('"'))
            value.erase(0, 1);
        groups.back().push_back({words[i], words[i + 1], Printable(value)});
        if (i + 3 == words.size())
            return;
        if (words[i + 3] == "or")
            groups.emplace_back();
        else if (words[i + 3] != "and")
            throw NoCondition(text);
    }
    throw NoCondition(text); /* ends with "and" or "or" */
}

std::vector<std::string> ObjectFilter::Paths() const {
    std::vector<std::string> paths;
    for (const auto &group : groups) {
        for (const Condition &condition : group)
            paths.push_back(condition.path);
    }
    return paths;
}

void ObjectFilter::CheckValues(const PropertyPath &path) const {
    for (const auto &group : groups) {
        for (const Condition &condition : group) {
            if (condition.path == path.text && condition.relation != "~")
                CheckValue(condition.value, path.type);
        }
    }
}

bool ObjectFilter::Fits(GObject *object, const Condition &condition) {
    const bool isNegated = condition.relation == "!=";
    const std::string relation = isNegated ? "==" : condition.relation;
    const bool isFound =
        std::ranges::any_of(TextsOf(object, condition.path), [&](const std::string &found) {
            return Holds(found, relation, condition.value);
        });
    return isFound != isNegated;
}

bool ObjectFilter::Fits(GObject *object) const {
    const auto fitsAll = [&](const std::vector<Condition> &group) {
        return std::ranges::all_of(
            group, [&](const Condition &condition) { return Fits(object, condition); });
    };
    return groups.empty() || std::ranges::any_of(groups, fitsAll);
}

} // namespace orvaneCli
