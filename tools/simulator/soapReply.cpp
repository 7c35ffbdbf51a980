#include "tools/simulator/soapReply.h"

#include <algorithm>
#include <array>

#include <fmt/format.h>

namespace simulator {

namespace {

/* The releases of both families, oldest first. */
constexpr auto kReleases = std::to_array<std::string_view>(
    {"ozy2/2.0", "ozy25/2.5", "ozy25/2.5u2", "ozy25/2.5u2server", "ozy25/4.0", "ozy25/4.1",
     "ozy25/5.0", "ozy25/5.1", "ozy25/5.5", "ozy25/6.0", "ozy25/dev2", "ozy25/r15i2", "ozy25/r15i3",
     "ozy25/r15i4", "ozy25/r15i4x3CD75"});

size_t ReleaseRank(std::string_view version) {
    for (size_t i = 0; i < kReleases.size(); i++)
        if (kReleases[i] == version)
            return i;
    return kReleases.size();
}

std::string Envelope(std::string_view prefix, std::string_view body) {
    return fmt::format("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                       "<{0}:Envelope xmlns:soapenc=\"http://schemas.xmlsoap.org/soap/encoding/\"\n"
                       " xmlns:{0}=\"http://schemas.xmlsoap.org/soap/envelope/\"\n"
                       " xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\"\n"
                       " xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\">\n"
                       "<{0}:Body>\n{1}\n</{0}:Body>\n</{0}:Envelope>",
                       prefix, body);
}

std::string NamespaceElement(std::string_view name, std::string_view version,
                             std::string_view prior = "") {
    return fmt::format("  <namespace>\n    <name>{}</name>\n    <version>{}</version>\n{}"
                       "  </namespace>\n",
                       name, version, prior);
}

/* The <priorVersions> element with the releases of the names' family that are older than it. */
std::string PriorVersions(const VersionNames &names, bool withOwn) {
    const std::string own = names.nameSpace + "/" + names.version;
    std::string versions;
    if (withOwn)
        versions += fmt::format("      <version>{}</version>\n", names.version);
    for (size_t i = std::min(ReleaseRank(own), kReleases.size() - 1); i-- > 0;)
        if (kReleases[i].starts_with(names.nameSpace + "/"))
            versions += fmt::format("      <version>{}</version>\n",
                                    kReleases[i].substr(names.nameSpace.size() + 1));
    return versions.empty() ? versions
                            : "    <priorVersions>\n" + versions + "    </priorVersions>\n";
}

} // namespace

VersionNames VersionNames::Of(const std::string &text) {
    const size_t slash = text.find('/');
    if (slash == std::string::npos || slash == 0 || slash + 1 == text.size())
        throw std::runtime_error(
            fmt::format("\"{}\" is no version of the form namespace/number", text));
    return {text.substr(0, slash), text.substr(slash + 1)};
}

std::string ResultText(std::string_view nameSpace, std::string_view method, std::string_view inner,
                       std::string_view prefix) {
    return Envelope(prefix, fmt::format("<{0}Response xmlns=\"urn:{1}\">{2}</{0}Response>", method,
                                        nameSpace, inner));
}

std::string FaultText(std::string_view nameSpace, const Fault &fault, bool withDetail,
                      std::string_view prefix) {
    std::string text =
        fmt::format("<{}:Fault><faultcode>ServerFaultCode</faultcode><faultstring>", prefix);
    AppendEscaped(text, fault.what());
    text += "</faultstring>";
    if (withDetail) {
        text += fmt::format("<detail><{0}Fault xmlns=\"urn:{1}\" xsi:type=\"{0}\">", fault.type,
                            nameSpace);
        for (const Field &field : fault.fields)
            AppendElement(text, field.name, field.value, field.any);
        text += fmt::format("</{}Fault></detail>", fault.type);
    }
    text += fmt::format("</{}:Fault>", prefix);
    return Envelope(prefix, text);
}

std::string Returned(const Value &value, bool typed) {
    std::string text;
    AppendElement(text, "returnval", value, typed);
    return text;
}

std::string VersionsText(const VersionNames &names, VersionsForm form) {
    const std::string urn = "urn:" + names.nameSpace;
    std::string inner;
    switch (form) {
    case VersionsForm::UnknownCurrent:
        inner = NamespaceElement(urn, "99.0", PriorVersions(names, true));
        break;
    case VersionsForm::SeveralNamespaces:
        inner = NamespaceElement("urn:lodestone1", "1.0") +
                NamespaceElement("http://example.com/names", names.version) +
                NamespaceElement(urn, names.version, PriorVersions(names, false));
        break;
    case VersionsForm::UnknownOnly:
        inner = NamespaceElement("urn:lodestone1", "1.0");
        break;
    case VersionsForm::Unusable:
        return "this is no XML";
    case VersionsForm::Current:
    case VersionsForm::WrongRoot:
        inner = NamespaceElement(urn, names.version, PriorVersions(names, false));
        break;
    case VersionsForm::Empty:
    case VersionsForm::Missing:
    case VersionsForm::MissingWithWsdl:
        return "";
    }
    const std::string_view root = form == VersionsForm::WrongRoot ? "versions" : "namespaces";
    return fmt::format(
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<{0} version=\"1.0\">\n{1}</{0}>\n", root,
        inner);
}

std::string WsdlText(const VersionNames &names) {
    return fmt::format("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                       "<definitions targetNamespace=\"urn:{0}Service\"\n"
                       "   xmlns=\"http://schemas.xmlsoap.org/wsdl/\">\n"
                       "   <import location=\"{0}.wsdl\" namespace=\"urn:{0}\"/>\n"
                       "</definitions>\n",
                       names.nameSpace);
}

std::string WsdlTypesText(const VersionNames &names) {
    return fmt::format("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                       "<definitions targetNamespace=\"urn:{0}\"\n"
                       "   xmlns=\"http://schemas.xmlsoap.org/wsdl/\"\n"
                       "   xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\">\n"
                       "   <types><xsd:schema targetNamespace=\"urn:{0}\"/></types>\n"
                       "</definitions>\n",
                       names.nameSpace);
}

bool VersionHas(const std::string &version, std::string_view other) {
    return ReleaseRank(version) >= ReleaseRank(other);
}

} // namespace simulator
