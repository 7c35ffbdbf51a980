#include "tools/orvane/usageText.h"

#include <optional>
#include <string_view>
#include <vector>

#include "tools/orvane/message.h"
#include "tools/orvane/terminal.h"

namespace orvaneCli {

namespace {

using Parts = std::vector<std::string>;

struct UsageRow {
    CLI::ExitCodes kind;
    std::string_view form; /* of its text; "*" is a part that differs */
    std::string (*text)(const Parts &parts);
};

constexpr UsageRow kRows[] = {
    {CLI::ExitCodes::RequiredError, "A subcommand is required",
     [](const Parts &) { return Text(MSGID("usage.noCommand") "a command is required"); }},
    {CLI::ExitCodes::RequiredError, "* is required",
     [](const Parts &parts) {
         return Text(MSGID("usage.required") "%s is required", parts[0].c_str());
     }},
    {CLI::ExitCodes::RequiresError, "* requires *",
     [](const Parts &parts) {
         return Text(MSGID("usage.requires") "%s requires %s", parts[0].c_str(), parts[1].c_str());
     }},
    {CLI::ExitCodes::ExcludesError, "* excludes *",
     [](const Parts &parts) {
         return Text(MSGID("usage.excludes") "%s excludes %s", parts[0].c_str(), parts[1].c_str());
     }},
    {CLI::ExitCodes::ExtrasError, "The following argument was not expected: *",
     [](const Parts &parts) {
         return Text(MSGID("usage.extra") "The following argument was not expected: %s",
                     parts[0].c_str());
     }},
    {CLI::ExitCodes::ExtrasError, "The following arguments were not expected: *",
     [](const Parts &parts) {
         return Text(MSGID("usage.extras") "The following arguments were not expected: %s",
                     parts[0].c_str());
     }},
    {CLI::ExitCodes::ArgumentMismatch, "*: * required * missing",
     [](const Parts &parts) {
         return Text(MSGID("usage.noValue") "%s: the value is missing", parts[0].c_str());
     }},
    {CLI::ExitCodes::ArgumentMismatch, "*: At Most * required but received *",
     [](const Parts &parts) {
         return Text(MSGID("usage.tooMany") "%s: there may be %s of it, and there are %s",
                     parts[0].c_str(), parts[1].c_str(), parts[2].c_str());
     }},
    {CLI::ExitCodes::ConversionError, "Could not convert: * = *",
     [](const Parts &parts) {
         return Text(MSGID("usage.badValue") "%s: \"%s\" cannot be used", parts[0].c_str(),
                     parts[1].c_str());
     }},
    {CLI::ExitCodes::ValidationError, "*: Value * not in range * to *",
     [](const Parts &parts) {
         return Text(MSGID("usage.range") "%s: %s is not between %s and %s", parts[0].c_str(),
                     parts[1].c_str(), parts[2].c_str(), parts[3].c_str());
     }},
    {CLI::ExitCodes::ValidationError, "*: * not in {*}",
     [](const Parts &parts) {
         return Text(MSGID("usage.choice") "%s: \"%s\" is none of %s", parts[0].c_str(),
                     parts[1].c_str(), parts[2].c_str());
     }},
};

/* Returns the parts of a text of this form, each as short as possible but for the last; nothing for another form. */
std::optional<Parts> TakeApart(std::string_view text, std::string_view form) {
    Parts parts;
    const size_t begin = form.find('*');
    if (!text.starts_with(form.substr(0, begin)))
        return std::nullopt;
    if (begin == form.npos)
        return text == form ? std::optional(parts) : std::nullopt;
    text.remove_prefix(begin);
    form.remove_prefix(begin);
    while (!form.empty()) {
        form.remove_prefix(1);
        const std::string_view literal = form.substr(0, form.find('*'));
        const bool isLast = literal.size() == form.size();
        const bool isAtEnd = text.ends_with(literal);
        const size_t end = !isLast   ? text.find(literal)
                           : isAtEnd ? text.size() - literal.size()
                                     : text.npos;
        if (end == text.npos)
            return std::nullopt;
        parts.push_back(Printable(std::string(text.substr(0, end))));
        text.remove_prefix(end + literal.size());
        form.remove_prefix(literal.size());
    }
    return parts;
}

} // namespace

std::string UsageText(const CLI::ParseError &error) {
    for (const UsageRow &row : kRows) {
        if (static_cast<int>(row.kind) != error.get_exit_code())
            continue;
        if (const auto parts = TakeApart(error.what(), row.form))
            return row.text(*parts);
    }
    return Printable(error.what());
}

} // namespace orvaneCli
