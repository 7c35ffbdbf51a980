#include "tools/orvane/completionWords.h"

#include <algorithm>
#include <array>
#include <utility>

#include "tools/manual/manualPage.h"

namespace orvaneCli {

namespace {

/* Words of options whose check does not list them. */
constexpr auto kValues = std::to_array<std::pair<std::string_view, std::string_view>>({
    {"--output", "table,plain,json,jsonl"},
    {"--color", "auto,always,never"},
});

/* What the arguments of that name are. */
constexpr auto kArguments = std::to_array<std::pair<std::string_view, WordKind>>({
    {"path", WordKind::kPath},
    {"object", WordKind::kPath},
    {"machines", WordKind::kPath},
    {"job", WordKind::kJob},
    {"tasks", WordKind::kTask},
    {"method", WordKind::kMethod},
    {"arguments", WordKind::kArgument},
    {"values", WordKind::kSetting},
});

std::vector<std::string> Split(std::string_view text) {
    std::vector<std::string> words;
    while (!text.empty()) {
        const size_t end = std::min(text.find(','), text.size());
        words.emplace_back(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return words;
}

bool TakesValue(const CLI::Option &option) {
    return option.get_items_expected_max() > 0;
}

/* The long name of an option: "--profile". */
std::string LongName(const CLI::Option &option) {
    return option.get_lnames().empty() ? option.get_name() : "--" + option.get_lnames().front();
}

/* An option of a command, or of those above it. */
const CLI::Option *FindOption(const CLI::App *app, const std::string &word) {
    for (; app != nullptr; app = app->get_parent()) {
        if (const CLI::Option *found = app->get_option_no_throw(word))
            return found;
    }
    return nullptr;
}

/* "{a,b}" of the check of an option's value. */
std::vector<std::string> ListedValues(const CLI::Option &option) {
    const auto *known = std::ranges::find(kValues, std::string_view(LongName(option)),
                                          &decltype(kValues)::value_type::first);
    if (known != kValues.end())
        return Split(known->second);
    const std::string type = option.get_type_name();
    const size_t open = type.find('{');
    const size_t end = type.find('}');
    if (open == std::string::npos || end == std::string::npos || end < open)
        return {};
    return Split(std::string_view(type).substr(open + 1, end - open - 1));
}

std::vector<std::string> OptionNames(const CLI::App *app) {
    std::vector<std::string> names;
    for (; app != nullptr; app = app->get_parent()) {
        for (const CLI::Option *each : app->get_options([](const CLI::Option *) { return true; })) {
            if (!each->get_group().empty() && each->nonpositional())
                names.push_back(LongName(*each));
        }
    }
    std::ranges::sort(names);
    names.erase(std::unique(names.begin(), names.end()), names.end());
    return names;
}

/* The words before the one that is completed. */
struct Walk {
    const CLI::App *app;
    const CLI::Option *awaits = nullptr; /* an option whose value comes next */
};

void Step(Walk &walk, const std::string &word, Completion &completion) {
    if (walk.awaits != nullptr) {
        completion.options[LongName(*walk.awaits)] = word;
        walk.awaits = nullptr;
        return;
    }
    if (word.size() > 1 && word.starts_with('-')) {
        const size_t equals = word.find('=');
        const CLI::Option *option = FindOption(walk.app, word.substr(0, equals));
        if (option == nullptr)
            return;
        const bool hasValue = equals != std::string::npos;
        if (TakesValue(*option) && !hasValue)
            walk.awaits = option;
        else
            completion.options[LongName(*option)] = hasValue ? word.substr(equals + 1) : "";
        return;
    }
    for (const CLI::App *each : manual::CommandsOf(*walk.app)) {
        if (completion.arguments.empty() && each->get_name() == word) {
            walk.app = each;
            return;
        }
    }
    completion.arguments.push_back(word);
}

void CompleteValue(Completion &completion, const CLI::Option &option) {
    if (LongName(option) == "--profile")
        completion.kind = WordKind::kProfile;
    else if (LongName(option) == "--property")
        completion.kind = WordKind::kProperty;
    else
        completion.words = ListedValues(option);
}

/* Goes on behind the "=" of the last word. */
void TakeName(Completion &completion, size_t equals) {
    completion.before = completion.start.substr(0, equals + 1);
    completion.start.erase(0, equals + 1);
}

void CompleteArgument(Completion &completion, const Walk &walk) {
    if (completion.arguments.empty()) {
        for (const CLI::App *each : manual::CommandsOf(*walk.app))
            completion.words.push_back(each->get_name());
    }
    const CLI::Option *argument = nullptr;
    size_t left = completion.arguments.size();
    for (const CLI::Option *each :
         walk.app->get_options([](const CLI::Option *) { return true; })) {
        if (each->nonpositional() || each->get_group().empty())
            continue;
        argument = each;
        if (left-- == 0 || each->get_items_expected_max() > 1)
            break;
        argument = nullptr;
    }
    if (argument == nullptr)
        return;
    const std::string name = argument->get_name(true);
    const auto *known = std::ranges::find(kArguments, std::string_view(name),
                                          &decltype(kArguments)::value_type::first);
    const CLI::App *parent = walk.app->get_parent();
    const bool isProfile = name == "name" && parent != nullptr && parent->get_name() == "profile" &&
                           walk.app->get_name() != "add";
    if (known != kArguments.end())
        completion.kind = known->second;
    else if (isProfile)
        completion.kind = WordKind::kProfile;
    else
        completion.words = ListedValues(*argument);
}

} // namespace

Completion FindCompletion(const CLI::App &program, const std::vector<std::string> &words) {
    Completion completion;
    Walk walk{&program};
    for (size_t i = 0; i + 1 < words.size(); i++)
        Step(walk, words[i], completion);
    completion.command = walk.app->get_name();
    const std::string last = words.empty() ? "" : words.back();
    completion.start = last;
    const size_t equals = last.find('=');
    if (walk.awaits != nullptr) {
        CompleteValue(completion, *walk.awaits);
    } else if (last.starts_with("--") && equals != std::string::npos) {
        TakeName(completion, equals);
        if (const CLI::Option *option = FindOption(walk.app, last.substr(0, equals)))
            CompleteValue(completion, *option);
    } else if (last.starts_with('-')) {
        completion.words = OptionNames(walk.app);
    } else {
        CompleteArgument(completion, walk);
        const bool isNamed =
            completion.kind == WordKind::kArgument || completion.kind == WordKind::kSetting;
        if (isNamed && equals != std::string::npos)
            TakeName(completion, equals);
    }
    std::erase_if(completion.words,
                  [&](const std::string &word) { return !word.starts_with(completion.start); });
    return completion;
}

} // namespace orvaneCli
