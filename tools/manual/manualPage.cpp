// Makes mdoc(7): lines of text of at most 78 bytes, each sentence on lines of its own, as mandoc's checks want them.
#include "tools/manual/manualPage.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include <fmt/format.h>

namespace manual {

namespace {

constexpr size_t kMaxLine = 78;

/* A text as roff shows it; the first character of a line must not begin a request. */
std::string Escaped(std::string_view text) {
    std::string out;
    for (const char c : text) {
        if (c == '\\')
            out += "\\e";
        else
            out += c;
    }
    return out;
}

std::string EscapedLine(std::string_view line) {
    const std::string text = Escaped(line);
    return text.starts_with('.') || text.starts_with('\'') ? "\\&" + text : text;
}

/* A text as one argument of a macro, which does not take it for another macro. */
std::string Argument(std::string_view text) {
    std::string out = "\\&";
    for (const char c : Escaped(text)) {
        if (c == '"')
            out += "\\(dq";
        else
            out += c;
    }
    return out.find(' ') == std::string::npos ? out : "\"" + out + "\"";
}

bool EndsSentence(std::string_view word) {
    while (word.ends_with(')') || word.ends_with('"'))
        word.remove_suffix(1);
    return word.ends_with('.') || word.ends_with('?') || word.ends_with('!');
}

/* A paragraph as lines of text. */
std::string Filled(const std::string &text) {
    std::string out;
    std::string line;
    const auto flush = [&] {
        if (!line.empty())
            out += EscapedLine(line) + "\n";
        line.clear();
    };
    std::istringstream words(text);
    for (std::string word; words >> word;) {
        if (line.size() + word.size() + 1 > kMaxLine)
            flush();
        line += (line.empty() ? "" : " ") + word;
        if (EndsSentence(word))
            flush();
    }
    flush();
    return out;
}

/* A description is a sentence without an end. */
std::string Sentence(std::string text) {
    text.erase(text.find_last_not_of(' ') + 1);
    return text.empty() || text.ends_with(':') || EndsSentence(text) ? text : text + ".";
}

/* "Show the version; then stop" -> "show the version" */
std::string Summary(const std::string &description) {
    std::string text = description;
    for (const char *end : {". ", "; ", ": ", "\n"})
        text = text.substr(0, text.find(end));
    if (text.ends_with('.'))
        text.pop_back();
    if (text.size() > 1 && text[0] >= 'A' && text[0] <= 'Z' && !(text[1] >= 'A' && text[1] <= 'Z'))
        text[0] = static_cast<char>(text[0] - 'A' + 'a');
    return text;
}

struct Footer {
    std::string remarks;
    std::string examples;
};

/* Text and, for lines with blanks in front, displays. */
std::string Flow(const std::string &text) {
    std::string out;
    std::string paragraph;
    bool isDisplay = false;
    const auto endParagraph = [&] {
        if (!paragraph.empty())
            out += (out.empty() ? "" : ".Pp\n") + Filled(Sentence(paragraph));
        paragraph.clear();
    };
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        const bool isLiteral = line.starts_with("  ");
        if (isLiteral != isDisplay) {
            endParagraph();
            out += isLiteral ? ".Bd -literal -offset indent\n" : ".Ed\n";
            isDisplay = isLiteral;
        }
        if (isLiteral)
            out += EscapedLine(line.substr(2)) + "\n";
        else if (line.empty())
            endParagraph();
        else
            paragraph += line + " ";
    }
    endParagraph();
    return out + (isDisplay ? ".Ed\n" : "");
}

Footer SplitFooter(const std::string &footer) {
    Footer split;
    bool isExample = false;
    std::istringstream lines(footer);
    for (std::string line; std::getline(lines, line);) {
        if (line == "Examples:") {
            isExample = true;
            continue;
        }
        if (!line.empty() && !line.starts_with("  "))
            isExample = false;
        (isExample ? split.examples : split.remarks) += line + "\n";
    }
    return split;
}

/* The help option is on the program's page. */
bool IsShown(const CLI::App &app, const CLI::Option &option) {
    const bool isHelp = &option == app.get_help_ptr() && app.get_parent() != nullptr;
    return !option.get_group().empty() && !isHelp;
}

bool IsFlag(const CLI::Option &option) {
    return option.get_items_expected_max() == 0;
}

/* "TEXT:FILE" -> "TEXT" */
std::string ValueName(const CLI::Option &option) {
    const std::string type = option.get_type_name();
    return type.substr(0, type.find_first_of(": "));
}

/* "INT:INT in [1 - 600]" -> "From 1 to 600." and "TEXT:{a,b}" -> "One of a, b."; other checks are not shown. */
std::string ValueLimits(const CLI::Option &option) {
    const std::string type = option.get_type_name();
    const size_t open = type.find_first_of("[{");
    if (open == std::string::npos || type.find(':') == std::string::npos)
        return "";
    const std::string inside = type.substr(open + 1, type.find_first_of("]}", open) - open - 1);
    const bool isRange = type[open] == '[';
    const std::string between = isRange ? " - " : ",";
    std::string text = isRange ? " From " : " One of ";
    for (size_t at = 0; at < inside.size();) {
        const size_t end = std::min(inside.find(between, at), inside.size());
        text += (at == 0 ? "" : isRange ? " to " : ", ") + inside.substr(at, end - at);
        at = end + between.size();
    }
    return text + ".";
}

/* CLI11 keeps these options by their addresses; sorted by name, equal programs give equal pages. */
std::vector<std::string> Sorted(const std::set<CLI::Option *> &options) {
    std::vector<std::string> names;
    for (const CLI::Option *each : options)
        names.push_back(each->get_name());
    std::ranges::sort(names);
    return names;
}

std::string Conditions(const CLI::Option &option) {
    std::string text = ValueLimits(option);
    if (option.get_required())
        text += " Required.";
    if (!option.get_default_str().empty())
        text += fmt::format(" The default is {}.", option.get_default_str());
    if (const auto names = Sorted(option.get_needs()); !names.empty())
        text += fmt::format(" Only with {}.", fmt::join(names, ", "));
    if (const auto names = Sorted(option.get_excludes()); !names.empty())
        text += fmt::format(" Not with {}.", fmt::join(names, ", "));
    return text;
}

std::string Heading(const CLI::Option &option) {
    if (!option.nonpositional())
        return ".It Ar " + Argument(option.get_name(true)) + "\n";
    std::vector<std::string> parts;
    for (const std::string &name : option.get_snames())
        parts.push_back("Fl " + name);
    for (const std::string &name : option.get_lnames())
        parts.push_back("Fl -" + name);
    std::string line = fmt::format(".It {}", fmt::join(parts, " , "));
    if (!IsFlag(option))
        line += " Ar " + Argument(ValueName(option));
    return line + "\n";
}

std::string OptionList(const CLI::App &app, bool isPositional) {
    std::string out;
    for (const CLI::Option *each : app.get_options([](const CLI::Option *) { return true; })) {
        if (!IsShown(app, *each) || each->nonpositional() == isPositional)
            continue;
        const std::string text = Sentence(each->get_description());
        out += Heading(*each) + Filled(text + Conditions(*each));
    }
    return out.empty() ? "" : ".Bl -tag -width Ds\n" + out + ".El\n";
}

std::string EntryList(const std::vector<Entry> &entries, const char *macro) {
    std::string out = ".Bl -tag -width Ds\n";
    for (const Entry &entry : entries)
        out += fmt::format(".It {} {}\n", macro, Argument(entry.word)) + Filled(entry.text);
    return out + ".El\n";
}

/* The words behind the program's name: "profile add" */
std::string CommandWords(const CLI::App &command) {
    const CLI::App *parent = command.get_parent();
    if (parent == nullptr)
        return "";
    const std::string before = CommandWords(*parent);
    return before + (before.empty() ? "" : " ") + command.get_name();
}

std::string Positionals(const CLI::App &command) {
    std::string out;
    for (const CLI::Option *each : command.get_options([](const CLI::Option *) { return true; })) {
        if (!IsShown(command, *each) || each->nonpositional())
            continue;
        const std::string name = Argument(each->get_name(true));
        const std::string more = each->get_items_expected_max() > 1 ? " ..." : "";
        out += (each->get_required() ? ".Ar " : ".Op Ar ") + name + more + "\n";
    }
    return out;
}

std::string Synopsis(const CLI::App &command, const Book &book) {
    std::string out = ".Nm " + book.program + "\n";
    if (const std::string words = CommandWords(command); !words.empty())
        out += ".Cm " + words + "\n";
    out += ".Op Ar option ...\n";
    if (!CommandsOf(command).empty())
        out += ".Ar command ...\n";
    return out + Positionals(command);
}

/* The commands of a program or a command, on the same page. */
std::string Subcommands(const CLI::App &app) {
    std::string out;
    for (const CLI::App *each : CommandsOf(app)) {
        /* without its own it has that of the command above */
        const bool hasFooter = each->get_footer() != app.get_footer();
        const Footer footer = hasFooter ? SplitFooter(each->get_footer()) : Footer{};
        out += ".Ss " + Argument(CommandWords(*each)) + "\n";
        out += Filled(Sentence(each->get_description()));
        out += OptionList(*each, true) + OptionList(*each, false);
        if (const std::string remarks = Flow(footer.remarks); !remarks.empty())
            out += ".Pp\n" + remarks;
        if (!footer.examples.empty())
            out += ".Pp\nExamples:\n" + Flow(footer.examples);
        out += Subcommands(*each);
    }
    return out;
}

std::string Section(const std::string &title, const std::string &text) {
    return text.empty() ? "" : ".Sh " + title + "\n" + text;
}

std::string PageName(const CLI::App &command, const Book &book) {
    std::string words = CommandWords(command);
    std::ranges::replace(words, ' ', '-');
    return words.empty() ? book.program : book.program + "-" + words;
}

/* References to the other pages, in the order of their names. */
std::string SeeAlso(const CLI::App &program, const CLI::App &app, const Book &book) {
    std::vector<std::string> names;
    if (!book.commandPages)
        return "";
    if (&program != &app)
        names.push_back(book.program);
    else
        for (const CLI::App *each : CommandsOf(program))
            names.push_back(PageName(*each, book));
    std::ranges::sort(names);
    std::string out;
    for (const std::string &name : names)
        out += fmt::format(".Xr {} 1{}\n", name, name == names.back() ? "" : " ,");
    return out;
}

std::string CommandTable(const CLI::App &program, const Book &book) {
    std::string out;
    for (const CLI::App *each : CommandsOf(program))
        out +=
            ".It Xr " + PageName(*each, book) + " 1\n" + Filled(Sentence(each->get_description()));
    return out.empty() ? "" : ".Bl -tag -width Ds\n" + out + ".El\n";
}

std::string MakeText(const CLI::App &program, const CLI::App &app, const Book &book) {
    const std::string name = PageName(app, book);
    const bool isProgram = &program == &app;
    const Footer footer = SplitFooter(app.get_footer());
    std::string title = name;
    std::ranges::transform(title, title.begin(), [](unsigned char c) { return std::toupper(c); });

    std::string text = fmt::format(".\\\" Made by the build from the program's own descriptions.\n"
                                   ".Dd {}\n.Dt {} 1\n.Os\n",
                                   book.date, title);
    text += Section(
        "NAME", fmt::format(".Nm {}\n.Nd {}\n", name, EscapedLine(Summary(app.get_description()))));
    text += Section("SYNOPSIS", Synopsis(app, book));
    std::string description = Filled(Sentence(app.get_description()));
    if (const std::string remarks = Flow(footer.remarks); !remarks.empty())
        description += ".Pp\n" + remarks;
    if (const std::string list = OptionList(app, true); !list.empty())
        description += ".Pp\nThe arguments are as follows:\n" + list;
    if (const std::string list = OptionList(app, false); !list.empty())
        description += ".Pp\nThe options are as follows:\n" + list;
    if (!isProgram)
        description +=
            ".Pp\nThe options of\n.Xr " + book.program + " 1\ncan follow the command, too.\n";
    text += Section("DESCRIPTION", description);
    text += Section("COMMANDS", isProgram && book.commandPages ? CommandTable(program, book)
                                                               : Subcommands(app));
    if (isProgram && !book.environment.empty())
        text += Section("ENVIRONMENT", EntryList(book.environment, "Ev"));
    if (isProgram && !book.files.empty())
        text += Section("FILES", EntryList(book.files, "Pa"));
    if (isProgram && !book.exitStatuses.empty())
        text += Section("EXIT STATUS", EntryList(book.exitStatuses, "Er"));
    text += Section("EXAMPLES", Flow(footer.examples));
    return text + Section("SEE ALSO", SeeAlso(program, app, book));
}

} // namespace

std::vector<const CLI::App *> CommandsOf(const CLI::App &app) {
    const auto all = app.get_subcommands([](const CLI::App *) { return true; });
    std::vector<const CLI::App *> shown;
    std::ranges::copy_if(all, std::back_inserter(shown),
                         [](const CLI::App *each) { return !each->get_group().empty(); });
    return shown;
}

std::vector<Page> MakePages(const CLI::App &program, const Book &book) {
    std::vector<Page> pages = {{book.program + ".1", MakeText(program, program, book)}};
    if (book.commandPages)
        for (const CLI::App *each : CommandsOf(program))
            pages.push_back({PageName(*each, book) + ".1", MakeText(program, *each, book)});
    return pages;
}

void WritePages(const std::vector<Page> &pages, const std::string &folder) {
    std::filesystem::create_directories(folder);
    for (const Page &page : pages) {
        const std::string path = folder + "/" + page.name;
        std::ofstream file(path);
        file << page.text;
        file.close();
        if (!file)
            throw std::runtime_error(fmt::format("cannot write {}", path));
    }
}

} // namespace manual
