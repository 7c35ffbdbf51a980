#include "ozy/lib/orvane/session/orvaneSessionVersion.h"

#include <string>

#include "lib/misc/dottedVersion.h"
#include "ozy/lib/orvane/runtime/orvaneRuntime.h"
#include "ozy/lib/orvane/schema/schemaLookup.h"
#include "ozy/lib/orvane/soap/orvaneSoap.h"

namespace {

bool IsNamed(const xmlNode *node, const char *name) {
    return node->type == XML_ELEMENT_NODE && xmlStrcmp(node->name, BAD_CAST name) == 0;
}

/* The first element of that name among the node and its next siblings; NULL for none. */
const xmlNode *FirstNamed(const xmlNode *node, const char *name) {
    while (node != nullptr && !IsNamed(node, name))
        node = node->next;
    return node;
}

std::string TextOf(const xmlNode *node) {
    const XmlTextPtr text(node != nullptr ? xmlNodeGetContent(node) : nullptr);
    return text ? reinterpret_cast<const char *>(text.get()) : "";
}

/* The name of a namespace without "urn:"; empty if it does not begin with that. */
std::string WithoutUrn(const std::string &name) {
    constexpr std::string_view kUrn = "urn:";
    return name.starts_with(kUrn) ? name.substr(kUrn.size()) : "";
}

bool IsKnown(const std::string &version) {
    return orvane_lookup_version(version.c_str()) != nullptr;
}

/* "ozy25" and "6.0" as "ozy25/6.0". */
std::string WireText(std::string nameSpace, const std::string &version) {
    return nameSpace.append("/").append(version);
}

OrvaneServiceVersion NewVersion(const std::string &version, const std::string &nameSpace) {
    return {GPtr<char>(g_strdup(version.c_str())), GPtr<char>(g_strdup(nameSpace.c_str()))};
}

/* The highest known prior version of a namespace; empty if none is known. */
std::string HighestPrior(const xmlNode *nameSpaceNode, const std::string &nameSpace) {
    std::string highest;
    const xmlNode *prior = FirstNamed(nameSpaceNode->children, "priorVersions");
    const xmlNode *node = prior != nullptr ? FirstNamed(prior->children, "version") : nullptr;
    for (; node != nullptr; node = FirstNamed(node->next, "version")) {
        const std::string version = TextOf(node);
        if (IsKnown(WireText(nameSpace, version)) &&
            (highest.empty() || Util_CompareDotted(version.c_str(), highest.c_str()) > 0))
            highest = version;
    }
    return highest;
}

OrvaneServiceVersion SelectFrom(const xmlNode *nameSpaceNode) {
    const std::string nameSpace = WithoutUrn(TextOf(FirstNamed(nameSpaceNode->children, "name")));
    std::string version = TextOf(FirstNamed(nameSpaceNode->children, "version"));
    if (nameSpace.empty() || version.empty())
        return {};
    if (!IsKnown(WireText(nameSpace, version)))
        version = HighestPrior(nameSpaceNode, nameSpace);
    return version.empty() ? OrvaneServiceVersion{}
                           : NewVersion(WireText(nameSpace, version), nameSpace);
}

} // namespace

OrvaneServiceVersion OrvaneServiceVersion_FromDocument(const char *content, gsize length,
                                                       guint64 maxTreeBytes) {
    const XmlDocPtr document(
        OrvaneSoap_ParseDocument(content, length, "ozyServiceVersions.xml", maxTreeBytes));
    const xmlNode *root = document ? xmlDocGetRootElement(document.get()) : nullptr;
    if (root == nullptr || !IsNamed(root, "namespaces"))
        return {};
    const xmlNode *node = FirstNamed(root->children, "namespace");
    for (; node != nullptr; node = FirstNamed(node->next, "namespace")) {
        OrvaneServiceVersion selected = SelectFrom(node);
        if (selected.version)
            return selected;
    }
    return {};
}

OrvaneServiceVersion OrvaneServiceVersion_FromWsdl(const char *content, gsize length,
                                                   guint64 maxTreeBytes) {
    const XmlDocPtr document(
        OrvaneSoap_ParseDocument(content, length, "ozyService.wsdl", maxTreeBytes));
    const xmlNode *root = document ? xmlDocGetRootElement(document.get()) : nullptr;
    if (root == nullptr || !IsNamed(root, "definitions"))
        return {};
    const xmlNode *import = FirstNamed(root->children, "import");
    const XmlTextPtr attribute(
        import != nullptr ? xmlGetNoNsProp(const_cast<xmlNode *>(import), BAD_CAST "namespace")
                          : nullptr);
    if (!attribute)
        return {};
    const std::string version = WithoutUrn(reinterpret_cast<const char *>(attribute.get()));
    return version.empty() || !IsKnown(version) ? OrvaneServiceVersion{}
                                                : NewVersion(version, version);
}

OrvaneServiceVersion OrvaneServiceVersion_Default() {
    const char *version = g_quark_to_string(orvane_quark_version_ozy2_2_0());
    return NewVersion(version, version);
}
