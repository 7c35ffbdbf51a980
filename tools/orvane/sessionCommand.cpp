#include "tools/orvane/sessionCommand.h"

#include <array>

#include <orvane/objectPath.h>

#include "tools/orvane/command.h"
#include "tools/orvane/helpTexts.h"
#include "tools/orvane/inventoryReader.h"
#include "tools/orvane/message.h"
#include "tools/orvane/printer.h"
#include "tools/orvane/timeCell.h"

namespace orvaneCli {

namespace {

enum class FactKind { kText, kNumber, kTime };

/* A property of UserSession or FerryUserSession. */
struct FactRow {
    const char *key;
    const char *title;
    const char *path;
    FactKind kind = FactKind::kText;
};

/* Keys of sessions are left out: whoever has one can use the session. */
constexpr auto kFacts = std::to_array<FactRow>({
    {"user", MSGID("session.column.user") "USER", "userName"},
    {"name", MSGID("session.column.name") "NAME", "fullName"},
    {"address", MSGID("session.column.address") "ADDRESS", "ipAddress"},
    {"login", MSGID("session.column.login") "LOGIN", "loginTime", FactKind::kTime},
    {"active", MSGID("session.column.active") "ACTIVE", "lastActiveTime", FactKind::kTime},
    {"calls", MSGID("session.column.calls") "CALLS", "callCount", FactKind::kNumber},
    {"agent", MSGID("session.column.agent") "AGENT", "userAgent"},
});

std::string Fact(GObject *session, const char *path) {
    const GPtr<char> text(orvane_object_get_path_text(session, path));
    return text ? text.get() : "";
}

Cell FactCell(GObject *session, const FactRow &row) {
    const std::string text = Fact(session, row.path);
    if (text.empty())
        return NothingCell();
    if (row.kind == FactKind::kTime)
        return TimeCell(text);
    return row.kind == FactKind::kNumber ? JsonCell(text, text) : TextCell(text);
}

int RunLs(Service &service) {
    const ProxyPtr manager = service.RequireManager("sessionManager");
    ReadObject(service, manager.get(), {"sessionList", "currentSession"});
    GValueArray *list = nullptr;
    g_object_get(manager.get(), "sessionList", &list, nullptr);
    if (list == nullptr)
        throw Failure(Text(MSGID("session.none") "the service does not tell who is logged in"));
    const ValueArrayPtr sessions(list);

    std::vector<Column> columns;
    for (const FactRow &row : kFacts)
        columns.push_back({.key = row.key,
                           .title = PlainText(row.title),
                           .isRight = row.kind == FactKind::kNumber});
    columns.insert(columns.begin() + 1,
                   {.key = "own", .title = Text(MSGID("session.column.own") "OWN")});
    Printer printer(std::move(columns), {.hasHeading = !service.IsQuiet()});
    const std::string own = Fact(G_OBJECT(manager.get()), "currentSession.key");
    for (guint i = 0; i < list->n_values; i++) {
        auto *session = static_cast<GObject *>(g_value_get_object(&list->values[i]));
        if (session == nullptr)
            continue;
        const bool isOwn = !own.empty() && Fact(session, "key") == own;
        std::vector<Cell> cells;
        for (const FactRow &row : kFacts)
            cells.push_back(FactCell(session, row));
        cells.insert(cells.begin() + 1, JsonCell(isOwn ? "*" : "", isOwn ? "true" : "false"));
        printer.Row(cells);
    }
    printer.End();
    return kDone;
}

} // namespace

void AddSession(CLI::App &program, ServiceOptions &options, int &status) {
    CLI::App *session = program.add_subcommand(
        "session", Text(MSGID("help.session") "Show who is logged in at a service"));
    session->require_subcommand(1);
    session->footer(FooterText(
        "", {"orvane session ls --profile lab", "orvane session ls --profile lab --ferry"}));
    CLI::App *ls = session->add_subcommand(
        "ls", Text(MSGID("help.session.ls") "List the sessions; * marks that of this command"));
    AddServiceOptions(*ls, options, true);
    ls->callback([&] { status = RunCommand([&] { return WithService(options, RunLs); }); });
}

} // namespace orvaneCli
