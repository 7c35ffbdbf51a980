#include "tools/simulator/simulator.h"

#include <algorithm>
#include <csignal>
#include <mutex>
#include <optional>
#include <thread>

#include <fmt/format.h>
#include <libxml/parser.h>
#include <poll.h>

#include "tools/certificates/certificateKind.h"
#include "tools/simulator/control.h"
#include "tools/simulator/estate.h"
#include "tools/simulator/service.h"

namespace simulator {

namespace {

constexpr char kFerryPath[] = "/ferry";

/* The name of the service's document at a path; empty if there is none. */
std::string DocumentOf(const HttpExchange &exchange, const Service &service) {
    if (exchange.path == "/sdk/ozyServiceVersions.xml" ||
        exchange.path == "/ferry/ferryServiceVersions.xml")
        return "versions";
    if (exchange.path == "/sdk/ozyService" && exchange.query.contains("wsdl"))
        return "wsdl";
    if (exchange.path == "/sdk/" + service.names.nameSpace + ".wsdl")
        return "wsdl-types";
    return "";
}

std::optional<certificates::Presented> MakeCertificate(const std::string &kind) {
    if (kind.empty())
        return std::nullopt;
    auto made = certificates::MakeKind(kind);
    if (!made)
        throw std::runtime_error(fmt::format("\"{}\" is no kind of certificate", kind));
    return made;
}

} // namespace

struct Simulator::State {
    explicit State(Options given)
        : options(std::move(given)), certificate(MakeCertificate(options.certificateKind)),
          clock(options.frozenClock), ozy(Service::Kind::Ozy, options, clock, troubles, record) {
        troubles.versionsForm = options.versionsForm;
        if (options.ferry)
            ferry.emplace(Service::Kind::Ferry, options, clock, troubles, record);
    }

    void Handle(Simulator &simulator, const ExchangePtr &exchange);
    void Settle();
    void ArmTimer();
    void RunThread(Simulator &simulator);
    void ForEachService(const std::function<void(Service &)> &function);

    /* That of the second service, if only this one has the object. */
    Inventory &InventoryOf(const std::string &id) {
        return !ferry || ozy.inventory.Find(id) ? ozy.inventory : ferry->inventory;
    }

    bool IsTls() const {
        return certificate || (!options.certificate.empty() && !options.privateKey.empty());
    }

    const Options options;
    const std::optional<certificates::Presented> certificate; /* made here */
    mutable std::recursive_mutex mutex;
    Clock clock;
    Troubles troubles;
    Record record;
    Service ozy;
    std::optional<Service> ferry;
    std::unique_ptr<HttpServer> http;
    int port = 0;
    std::thread thread;
    bool isEnding = false;
};

void Simulator::State::Handle(Simulator &simulator, const ExchangePtr &exchange) {
    const bool isFerry = exchange->path.starts_with(kFerryPath);
    Service *service = !isFerry ? &ozy : ferry ? &*ferry : nullptr;
    if (options.control && exchange->path.starts_with("/control/"))
        return exchange->Answer(AnswerControl(simulator, *exchange));
    if (service != nullptr && exchange->method == "POST" &&
        exchange->path == (isFerry ? "/ferry/sdk" : "/sdk"))
        return service->HandleCall(exchange);
    const std::string document = service == nullptr ? "" : DocumentOf(*exchange, *service);
    if (exchange->method == "GET" && !document.empty())
        return service->HandleDocument(exchange, document);
    if (options.log)
        options.log(
            fmt::format("{} {} {} -> 404", exchange->peer, exchange->method, exchange->path));
    exchange->Answer({404, "not found\n", "text/plain"});
}

void Simulator::State::ForEachService(const std::function<void(Service &)> &function) {
    function(ozy);
    if (ferry)
        function(*ferry);
}

void Simulator::State::Settle() {
    ForEachService([](Service &service) { service.Settle(); });
    ArmTimer();
}

void Simulator::State::ArmTimer() {
    if (!http)
        return;
    const int64_t byClock = clock.UntilNext();
    const int64_t byHttp = http->TimeoutMs();
    http->WakeAfter(byClock < 0 || byHttp < 0 ? std::max(byClock, byHttp)
                                              : std::min(byClock, byHttp));
}

void Simulator::State::RunThread(Simulator &simulator) {
    pollfd descriptor{simulator.PollDescriptor(), POLLIN, 0};
    for (;;) {
        poll(&descriptor, 1, simulator.TimeoutMs());
        const std::lock_guard lock(mutex);
        if (isEnding)
            return;
        simulator.Run();
    }
}

Simulator::Simulator(Options options) {
    xmlInitParser(); /* must not happen first in one of several threads */
    state = std::make_unique<State>(std::move(options));
}

Simulator::~Simulator() {
    Stop();
}

void Simulator::Start() {
    const std::lock_guard lock(state->mutex);
    if (state->http)
        return;
    const int port = state->port != 0 ? state->port : state->options.port;
    state->http = std::make_unique<HttpServer>(
        HttpServer::Settings{
            state->options.address, port,
            state->certificate ? state->certificate->Pem() : state->options.certificate,
            state->certificate ? state->certificate->KeyPem() : state->options.privateKey,
            state->options.idleSeconds},
        [this](const ExchangePtr &exchange) { state->Handle(*this, exchange); });
    state->port = state->http->Port();
}

void Simulator::RunInThread() {
    Start();
    if (state->thread.joinable())
        return;
    /* signals are for the threads of the program */
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    state->thread = std::thread([this] { state->RunThread(*this); });
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

void Simulator::Stop() {
    if (state->thread.joinable()) {
        {
            const std::lock_guard lock(state->mutex);
            state->isEnding = true;
            state->http->Wake();
        }
        state->thread.join();
        state->isEnding = false;
    }
    const std::lock_guard lock(state->mutex);
    state->ForEachService([](Service &service) { service.sessions.EndAll(); });
    state->http.reset();
}

int Simulator::Port() const {
    const std::lock_guard lock(state->mutex);
    return state->port;
}

std::string Simulator::Url() const {
    const std::string &address = state->options.address;
    const bool isV6 = address.find(':') != std::string::npos;
    return fmt::format("{}://{}:{}/sdk", state->IsTls() ? "https" : "http",
                       isV6 ? "[" + address + "]" : address, Port());
}

const certificates::Presented *Simulator::Certificate() const {
    return state->certificate ? &*state->certificate : nullptr;
}

std::string Simulator::FerryUrl() const {
    const std::string url = Url();
    return url.substr(0, url.size() - 4) + kFerryPath;
}

int Simulator::PollDescriptor() const {
    const std::lock_guard lock(state->mutex);
    return state->http ? state->http->Descriptor() : -1;
}

int Simulator::TimeoutMs() const {
    const std::lock_guard lock(state->mutex);
    if (!state->http)
        return -1;
    const int64_t clock = std::min<int64_t>(state->clock.UntilNext(), INT32_MAX);
    const int http = state->http->TimeoutMs();
    if (clock < 0)
        return http;
    return http < 0 ? static_cast<int>(clock) : std::min(http, static_cast<int>(clock));
}

void Simulator::Run() {
    const std::lock_guard lock(state->mutex);
    if (!state->http)
        return;
    state->clock.RunDue();
    state->http->Run();
    state->ArmTimer();
}

void Simulator::Advance(int64_t milliseconds) {
    const std::lock_guard lock(state->mutex);
    state->clock.Advance(milliseconds);
    state->Settle();
}

int64_t Simulator::NowMs() const {
    const std::lock_guard lock(state->mutex);
    return state->clock.Now();
}

void Simulator::AddTrouble(const Trouble &trouble) {
    const std::lock_guard lock(state->mutex);
    state->troubles.Add(trouble);
}

void Simulator::ClearTroubles() {
    const std::lock_guard lock(state->mutex);
    state->troubles.Clear();
}

void Simulator::SetVersionsForm(VersionsForm form) {
    const std::lock_guard lock(state->mutex);
    state->troubles.versionsForm = form;
}

void Simulator::SetVersionsDocument(const std::string &text) {
    const std::lock_guard lock(state->mutex);
    state->troubles.versionsText = text;
}

void Simulator::SetListening(bool listening) {
    const std::lock_guard lock(state->mutex);
    if (state->http)
        state->http->SetListening(listening);
}

void Simulator::ResetConnections() {
    const std::lock_guard lock(state->mutex);
    if (state->http)
        state->http->ResetConnections();
}

void Simulator::ExpireSessions() {
    const std::lock_guard lock(state->mutex);
    state->ForEachService([](Service &service) { service.sessions.EndAll(); });
    state->Settle();
}

void Simulator::DenyProperty(const std::string &type, const std::string &property,
                             const std::string &faultType) {
    const std::lock_guard lock(state->mutex);
    state->troubles.denials.push_back({type, property, faultType});
}

std::vector<std::string> Simulator::Ids(const std::string &type) const {
    const std::lock_guard lock(state->mutex);
    std::vector<std::string> ids;
    for (const ObjectPtr &object : state->ozy.inventory.OfType(type))
        ids.push_back(object->id);
    return ids;
}

std::string Simulator::Property(const std::string &id, const std::string &path) const {
    const std::lock_guard lock(state->mutex);
    const ObjectPtr object = state->InventoryOf(id).Find(id);
    if (!object)
        return "";
    const std::string first = path.substr(0, path.find_first_of(".["));
    const std::string rest = path.substr(std::min(first.size() + 1, path.size()));
    const Value value = Resolve(object->Get(first), rest);
    return value ? value->text : "";
}

bool Simulator::SetProperty(const std::string &id, const std::string &property,
                            const std::string &text) {
    const std::lock_guard lock(state->mutex);
    Inventory &inventory = state->InventoryOf(id);
    const ObjectPtr object = inventory.Find(id);
    const Value old = object ? object->Get(property) : nullptr;
    if (!old || old->kind != ValueKind::Simple)
        return false;
    inventory.Set(object, property, Enum(old->type, text));
    state->Settle();
    return true;
}

std::string Simulator::AddMachine(const std::string &name) {
    const std::lock_guard lock(state->mutex);
    const ObjectPtr folder = state->ozy.inventory.Find(kMachineFolderId);
    std::string id = simulator::AddMachine(state->ozy, folder, name)->id;
    state->Settle();
    return id;
}

bool Simulator::RemoveMachine(const std::string &id) {
    const std::lock_guard lock(state->mutex);
    const ObjectPtr machine = state->ozy.inventory.Find(id);
    if (!machine || machine->type != "VirtualMachine")
        return false;
    RemoveEntity(state->ozy, machine);
    state->Settle();
    return true;
}

void Simulator::FailTasks(const std::string &method, const std::string &faultType,
                          const std::string &message) {
    const std::lock_guard lock(state->mutex);
    if (faultType.empty())
        state->troubles.failingTasks.erase(method);
    else
        state->troubles.failingTasks[method] = {faultType, message};
}

int Simulator::NumCalls(const std::string &method) const {
    const std::lock_guard lock(state->mutex);
    if (method.empty())
        return state->record.numCalls;
    const auto at = state->record.methods.find(method);
    return at == state->record.methods.end() ? 0 : at->second.count;
}

int Simulator::NumDocuments() const {
    const std::lock_guard lock(state->mutex);
    return state->record.numDocuments;
}

std::string Simulator::LastRequest(const std::string &method) const {
    const std::lock_guard lock(state->mutex);
    const auto at = state->record.methods.find(method);
    return at == state->record.methods.end() ? "" : at->second.request;
}

std::string Simulator::LastReply(const std::string &method) const {
    const std::lock_guard lock(state->mutex);
    const auto at = state->record.methods.find(method);
    return at == state->record.methods.end() ? "" : at->second.reply;
}

std::string Simulator::LastHeader(const std::string &method, const std::string &header) const {
    const std::lock_guard lock(state->mutex);
    const auto row = state->record.methods.find(method);
    if (row == state->record.methods.end())
        return "";
    std::string lower = header;
    std::ranges::transform(lower, lower.begin(),
                           [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    const auto at = row->second.headers.find(lower);
    return at == row->second.headers.end() ? "" : at->second;
}

uint64_t Simulator::BytesIn() const {
    const std::lock_guard lock(state->mutex);
    return state->record.bytesIn;
}

uint64_t Simulator::BytesOut() const {
    const std::lock_guard lock(state->mutex);
    return state->record.bytesOut;
}

int Simulator::NumConnections() const {
    const std::lock_guard lock(state->mutex);
    return state->http ? state->http->NumConnections() : 0;
}

int Simulator::NumOpenConnections() const {
    const std::lock_guard lock(state->mutex);
    return state->http ? state->http->NumOpen() : 0;
}

int Simulator::NumSessions() const {
    const std::lock_guard lock(state->mutex);
    int count = 0;
    state->ForEachService(
        [&](Service &service) { count += static_cast<int>(service.sessions.All().size()); });
    return count;
}

int Simulator::NumFilters() const {
    const std::lock_guard lock(state->mutex);
    int count = 0;
    state->ForEachService([&](Service &service) { count += service.collectors.NumFilters(); });
    return count;
}

int Simulator::NumWaiting() const {
    const std::lock_guard lock(state->mutex);
    int count = 0;
    state->ForEachService([&](Service &service) { count += service.collectors.NumWaiting(); });
    return count;
}

int Simulator::NumKeptChanges() const {
    const std::lock_guard lock(state->mutex);
    size_t count = 0;
    state->ForEachService([&](Service &service) { count += service.inventory.JournalSize(); });
    return static_cast<int>(count);
}

void Simulator::ResetCounters() {
    const std::lock_guard lock(state->mutex);
    state->record = {};
}

} // namespace simulator
