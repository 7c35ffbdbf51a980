#include "tools/orvane/helpTexts.h"

#include <memory>
#include <vector>

#include "tools/orvane/message.h"

namespace orvaneCli {

namespace {

const CLI::App &ProgramOf(const CLI::App &command) {
    return command.get_parent() == nullptr ? command : ProgramOf(*command.get_parent());
}

/* Whether the command has an option of the same name, which is meant there. */
bool IsHidden(const CLI::App &command, const CLI::Option &option) {
    for (const std::string &name : option.get_lnames()) {
        if (command.get_option_no_throw("--" + name) != nullptr)
            return true;
    }
    return false;
}

/* What a command has itself, and the options of the program behind it. */
class HelpFormatter : public CLI::Formatter {
public:
    std::string make_subcommands(const CLI::App *app, CLI::AppFormatMode mode) const override {
        const std::string own = CLI::Formatter::make_subcommands(app, mode);
        const CLI::App &program = ProgramOf(*app);
        if (&program == app)
            return own;
        const std::vector<const CLI::Option *> common =
            program.get_options([&](const CLI::Option *option) {
                return option->nonpositional() && !option->get_group().empty() &&
                       option != program.get_version_ptr() && !IsHidden(*app, *option);
            });
        return own + make_group(Text(MSGID("help.word.common") "Options of every command"), false,
                                common);
    }
};

} // namespace

void SetHelpTexts(CLI::App &program) {
    const auto formatter = std::make_shared<HelpFormatter>();
    program.formatter(formatter);
    formatter->label("Usage", Text(MSGID("help.word.usage") "Usage"));
    formatter->label("OPTIONS", Text(MSGID("help.word.optionsHere") "OPTIONS"));
    formatter->label("SUBCOMMAND", Text(MSGID("help.word.commandHere") "COMMAND"));
    formatter->label("Positionals", Text(MSGID("help.word.positionals") "Arguments"));
    formatter->label("REQUIRED", Text(MSGID("help.word.required") "REQUIRED"));
    formatter->label("Excludes", Text(MSGID("help.word.excludes") "Excludes"));
    formatter->label("Needs", Text(MSGID("help.word.needs") "Needs"));
    formatter->label("TEXT", Text(MSGID("help.word.text") "TEXT"));
    program.option_defaults()->group(Text(MSGID("help.word.options") "Options"));
    program.group(Text(MSGID("help.word.commands") "Commands"));
}

/* A command is made with its help option, which has a group of its own then. */
void GroupHelpOptions(CLI::App &command) {
    for (CLI::App *each : command.get_subcommands([](CLI::App *) { return true; })) {
        if (CLI::Option *help = each->get_help_ptr(); help != nullptr)
            help->group(command.option_defaults()->get_group());
        GroupHelpOptions(*each);
    }
}

std::string FooterText(const std::string &remarks, std::initializer_list<const char *> examples) {
    std::string text =
        remarks + (remarks.empty() ? "" : "\n\n") + Text(MSGID("help.word.examples") "Examples:");
    for (const char *example : examples)
        text += std::string("\n  ") + example;
    return text;
}

} // namespace orvaneCli
