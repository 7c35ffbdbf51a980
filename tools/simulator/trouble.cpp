#include "tools/simulator/trouble.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <stdexcept>

#include <fmt/format.h>

#include "tools/simulator/soapReply.h"

namespace simulator {

namespace {

struct KindRow {
    std::string_view name;
    TroubleKind kind;
};

constexpr auto kKinds = std::to_array<KindRow>({
    {"close", TroubleKind::Close},
    {"reset", TroubleKind::Reset},
    {"drop", TroubleKind::Drop},
    {"slow", TroubleKind::Slow},
    {"silent", TroubleKind::Silent},
    {"page", TroubleKind::Page},
    {"empty-body", TroubleKind::EmptyBody},
    {"not-xml", TroubleKind::NotXml},
    {"dtd", TroubleKind::Dtd},
    {"wrong-prefix", TroubleKind::WrongPrefix},
    {"fault", TroubleKind::Fault},
    {"fault-no-detail", TroubleKind::FaultNoDetail},
    {"expire-session", TroubleKind::ExpireSession},
    {"no-result", TroubleKind::NoResult},
});

struct FormRow {
    std::string_view name;
    VersionsForm form;
};

constexpr auto kForms = std::to_array<FormRow>({
    {"current", VersionsForm::Current},
    {"unknown-current", VersionsForm::UnknownCurrent},
    {"several-namespaces", VersionsForm::SeveralNamespaces},
    {"unknown-only", VersionsForm::UnknownOnly},
    {"wrong-root", VersionsForm::WrongRoot},
    {"unusable", VersionsForm::Unusable},
    {"empty", VersionsForm::Empty},
    {"missing", VersionsForm::Missing},
    {"missing-with-wsdl", VersionsForm::MissingWithWsdl},
});

void ReplaceAll(std::string &text, std::string_view from, std::string_view to) {
    for (size_t at = text.find(from); at != std::string::npos; at = text.find(from, at))
        text.replace(at, from.size(), to), at += to.size();
}

/* Removes the result elements, from the first to the last. */
void RemoveResult(std::string &text) {
    const size_t first = text.find("<returnval");
    const size_t last = text.rfind("</returnval>");
    if (first != std::string::npos && last != std::string::npos)
        text.erase(first, last + sizeof("</returnval>") - 1 - first);
}

std::string Page(int status) {
    return fmt::format("<html><head><title>{0}</title></head>"
                       "<body><h1>{0}</h1><p>The simulator fails on demand.</p></body></html>\n",
                       status);
}

template <class Number> Number ParseNumber(std::string_view text, Number least = 0) {
    Number number{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (text.empty() || error != std::errc() || end != text.data() + text.size())
        throw std::runtime_error(fmt::format("\"{}\" is no number", text));
    if (number < least)
        throw std::runtime_error(fmt::format("{} is below {}", text, least));
    return number;
}

void SetPart(Trouble &trouble, const std::string &name, const std::string &value) {
    if (name == "count")
        trouble.count = ParseNumber<int>(value, -1);
    else if (name == "skip")
        trouble.skip = ParseNumber<int>(value);
    else if (name == "bytes")
        trouble.bytes = ParseNumber<size_t>(value);
    else if (name == "delay")
        trouble.delayMs = ParseNumber<int64_t>(value);
    else if (name == "status")
        trouble.status = ParseNumber<int>(value);
    else if (name == "fault")
        trouble.faultType = value;
    else if (name == "message")
        trouble.message = value;
    else
        throw std::runtime_error(fmt::format("a trouble has no \"{}\"", name));
}

} // namespace

void Troubles::Add(const Trouble &trouble) {
    pending.push_back(trouble);
}

void Troubles::Clear() {
    pending.clear();
    denials.clear();
    failingTasks.clear();
}

std::optional<Trouble> Troubles::Take(const std::string &method) {
    for (auto at = pending.begin(); at != pending.end(); ++at) {
        if (!at->method.empty() && at->method != method)
            continue;
        if (at->skip > 0) {
            at->skip--;
            return std::nullopt;
        }
        const Trouble taken = *at;
        if (at->count > 0 && --at->count == 0)
            pending.erase(at);
        return taken;
    }
    return std::nullopt;
}

std::optional<HttpAnswer> ReplacementReply(const Trouble &trouble, const std::string &nameSpace) {
    switch (trouble.kind) {
    case TroubleKind::Close:
        return HttpAnswer{.ending = HttpAnswer::Ending::Close};
    case TroubleKind::Reset:
        return HttpAnswer{.ending = HttpAnswer::Ending::Reset};
    case TroubleKind::Page:
        return HttpAnswer{trouble.status, Page(trouble.status), "text/html"};
    case TroubleKind::EmptyBody:
        return HttpAnswer{trouble.status, "", ""};
    case TroubleKind::NotXml:
        return HttpAnswer{200, "this is no XML", "text/plain"};
    case TroubleKind::Fault:
    case TroubleKind::FaultNoDetail:
        return HttpAnswer{500, FaultText(nameSpace, Fault(trouble.faultType, trouble.message),
                                         trouble.kind == TroubleKind::Fault)};
    case TroubleKind::Drop:
    case TroubleKind::Slow:
    case TroubleKind::Silent:
    case TroubleKind::Dtd:
    case TroubleKind::WrongPrefix:
    case TroubleKind::ExpireSession:
    case TroubleKind::NoResult:
        break;
    }
    return std::nullopt;
}

void ChangeReply(const Trouble &trouble, HttpAnswer &answer) {
    switch (trouble.kind) {
    case TroubleKind::Drop:
        answer.ending = HttpAnswer::Ending::Cut;
        answer.cutAfter = trouble.bytes;
        break;
    case TroubleKind::Dtd: {
        const size_t end = answer.body.find("?>");
        answer.body.insert(end == std::string::npos ? 0 : end + 2,
                           "\n<!DOCTYPE x [<!ENTITY a \"aaaaaaaaaa\"><!ENTITY b \"&a;&a;&a;\">]>");
        break;
    }
    case TroubleKind::WrongPrefix:
        ReplaceAll(answer.body, "soapenv", "soap");
        break;
    case TroubleKind::NoResult:
        RemoveResult(answer.body);
        break;
    case TroubleKind::Close:
    case TroubleKind::Reset:
    case TroubleKind::Slow:
    case TroubleKind::Silent:
    case TroubleKind::Page:
    case TroubleKind::EmptyBody:
    case TroubleKind::NotXml:
    case TroubleKind::Fault:
    case TroubleKind::FaultNoDetail:
    case TroubleKind::ExpireSession:
        break;
    }
}

std::optional<TroubleKind> TroubleKindOf(const std::string &name) {
    const auto at = std::ranges::find(kKinds, name, &KindRow::name);
    return at == kKinds.end() ? std::nullopt : std::optional(at->kind);
}

std::optional<VersionsForm> VersionsFormOf(const std::string &name) {
    const auto at = std::ranges::find(kForms, name, &FormRow::name);
    return at == kForms.end() ? std::nullopt : std::optional(at->form);
}

Trouble ParseTrouble(const std::string &text) {
    Trouble trouble;
    bool hasKind = false;
    for (size_t at = 0; at <= text.size();) {
        const size_t end = std::min(text.find(':', at), text.size());
        const std::string part = text.substr(at, end - at);
        const size_t equals = part.find('=');
        if (equals != std::string::npos) {
            SetPart(trouble, part.substr(0, equals), part.substr(equals + 1));
        } else if (const auto kind = TroubleKindOf(part); kind && !hasKind) {
            trouble.kind = *kind;
            hasKind = true;
        } else if (at == 0) {
            trouble.method = part;
        } else {
            throw std::runtime_error(fmt::format("\"{}\" is no kind of trouble", part));
        }
        at = end + 1;
    }
    if (!hasKind)
        throw std::runtime_error(fmt::format("\"{}\" names no kind of trouble", text));
    return trouble;
}

} // namespace simulator
