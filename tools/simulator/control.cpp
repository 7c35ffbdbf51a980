#include "tools/simulator/control.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <stdexcept>

#include <fmt/format.h>

#include "tools/simulator/trouble.h"

namespace simulator {

namespace {

using Query = std::map<std::string, std::string>;

std::string Required(const Query &query, const std::string &name) {
    const auto at = query.find(name);
    if (at == query.end())
        throw std::runtime_error(fmt::format("\"{}\" is missing", name));
    return at->second;
}

std::string Advance(Simulator &simulator, const Query &query) {
    const std::string text = Required(query, "ms");
    int64_t milliseconds = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), milliseconds);
    if (error != std::errc() || end != text.data() + text.size() || milliseconds < 0)
        throw std::runtime_error(fmt::format("\"{}\" is no number of milliseconds", text));
    simulator.Advance(milliseconds);
    return "done\n";
}

std::string AddTrouble(Simulator &simulator, const Query &query) {
    simulator.AddTrouble(ParseTrouble(Required(query, "is")));
    return "done\n";
}

std::string Clear(Simulator &simulator, const Query &) {
    simulator.ClearTroubles();
    return "done\n";
}

std::string Versions(Simulator &simulator, const Query &query) {
    const std::string name = Required(query, "form");
    const auto form = VersionsFormOf(name);
    if (!form)
        throw std::runtime_error(fmt::format("there is no form \"{}\"", name));
    simulator.SetVersionsForm(*form);
    return "done\n";
}

std::string Expire(Simulator &simulator, const Query &) {
    simulator.ExpireSessions();
    return "done\n";
}

std::string Reset(Simulator &simulator, const Query &) {
    simulator.ResetConnections();
    return "done\n";
}

std::string Set(Simulator &simulator, const Query &query) {
    if (!simulator.SetProperty(Required(query, "id"), Required(query, "property"),
                               Required(query, "value")))
        throw std::runtime_error("there is no such simple property");
    return "done\n";
}

std::string Get(Simulator &simulator, const Query &query) {
    return simulator.Property(Required(query, "id"), Required(query, "property")) + "\n";
}

std::string Ids(Simulator &simulator, const Query &query) {
    std::string text;
    for (const std::string &id : simulator.Ids(Required(query, "type")))
        text += id + "\n";
    return text;
}

std::string Add(Simulator &simulator, const Query &query) {
    return simulator.AddMachine(Required(query, "name")) + "\n";
}

std::string Remove(Simulator &simulator, const Query &query) {
    if (!simulator.RemoveMachine(Required(query, "id")))
        throw std::runtime_error("there is no such machine");
    return "done\n";
}

std::string FailTasks(Simulator &simulator, const Query &query) {
    const auto fault = query.find("fault");
    simulator.FailTasks(Required(query, "method"), fault == query.end() ? "" : fault->second);
    return "done\n";
}

std::string Counters(Simulator &simulator, const Query &) {
    return fmt::format("calls {}\ndocuments {}\nbytes-in {}\nbytes-out {}\nconnections {}\n"
                       "open-connections {}\nsessions {}\nfilters {}\nwaiting {}\n",
                       simulator.NumCalls(), simulator.NumDocuments(), simulator.BytesIn(),
                       simulator.BytesOut(), simulator.NumConnections(),
                       simulator.NumOpenConnections(), simulator.NumSessions(),
                       simulator.NumFilters(), simulator.NumWaiting());
}

struct ControlRow {
    std::string_view name;
    std::string (*function)(Simulator &simulator, const Query &query);
};

constexpr auto kControls = std::to_array<ControlRow>({
    {"add", Add},
    {"advance", Advance},
    {"clear", Clear},
    {"counters", Counters},
    {"expire", Expire},
    {"fail-tasks", FailTasks},
    {"get", Get},
    {"ids", Ids},
    {"remove", Remove},
    {"reset", Reset},
    {"set", Set},
    {"trouble", AddTrouble},
    {"versions", Versions},
});

} // namespace

HttpAnswer AnswerControl(Simulator &simulator, const HttpExchange &exchange) {
    const std::string name = exchange.path.substr(sizeof("/control/") - 1);
    const auto row = std::ranges::find(kControls, name, &ControlRow::name);
    if (row == kControls.end())
        return {404, "there is no such control\n", "text/plain"};
    if (!exchange.peer.starts_with("127.") && exchange.peer != "::1")
        return {403, "only for this machine\n", "text/plain"};
    try {
        return {200, row->function(simulator, exchange.query), "text/plain"};
    } catch (const std::runtime_error &error) {
        return {400, std::string(error.what()) + "\n", "text/plain"};
    }
}

} // namespace simulator
