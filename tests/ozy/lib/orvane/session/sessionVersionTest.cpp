#include "ozy/lib/orvane/session/orvaneSessionVersion.h"

#include <string>

#include <gtest/gtest.h>

namespace {

/* "version of namespace", or nothing. */
std::string Shown(const OrvaneServiceVersion &found) {
    return found.version ? std::string(found.version.get()) + " of " + found.nameSpace.get() : "";
}

std::string FromDocument(const std::string &text) {
    return Shown(OrvaneServiceVersion_FromDocument(text.c_str(), text.size(), 0));
}

std::string FromWsdl(const std::string &text) {
    return Shown(OrvaneServiceVersion_FromWsdl(text.c_str(), text.size(), 0));
}

std::string NameSpace(const std::string &name, const std::string &version,
                      const std::vector<std::string> &prior = {}) {
    std::string text = "<namespace><name>" + name + "</name><version>" + version + "</version>";
    text += "<priorVersions>";
    for (const std::string &older : prior)
        text += "<version>" + older + "</version>";
    return text + "</priorVersions></namespace>";
}

TEST(SessionVersion, IsSelectedFromTheVersionsDocument) {
    const struct {
        const char *name;
        std::string nameSpaces;
        const char *selected;
    } rows[] = {
        {"current", NameSpace("urn:ozy25", "6.0", {"5.5"}), "ozy25/6.0 of ozy25"},
        {"unknown names first", NameSpace("urn:other", "1.0") + NameSpace("urn:ozy25", "5.1"),
         "ozy25/5.1 of ozy25"},
        {"the first known one wins", NameSpace("urn:ozy25", "4.0") + NameSpace("urn:ozy25", "6.0"),
         "ozy25/4.0 of ozy25"},
        {"highest prior, any order", NameSpace("urn:ozy25", "99.0", {"4.1", "5.5", "98.0", "5.1"}),
         "ozy25/5.5 of ozy25"},
        {"current before any prior", NameSpace("urn:ozy25", "2.5", {"6.0"}), "ozy25/2.5 of ozy25"},
        {"a prior one of the first before a current one of the second",
         NameSpace("urn:ozy25", "99.0", {"4.0"}) + NameSpace("urn:ozy25", "6.0"),
         "ozy25/4.0 of ozy25"},
        {"without urn", NameSpace("ozy25", "6.0"), ""},
        {"without version", "<namespace><name>urn:ozy25</name></namespace>", ""},
        {"without name", "<namespace><version>6.0</version></namespace>", ""},
        {"nothing known", NameSpace("urn:ozy25", "99.0", {"98.0"}), ""},
        {"other elements", "<x/><namespacex/>" + NameSpace("urn:ferry", "4.0"),
         "ferry/4.0 of ferry"},
        {"empty", "", ""},
    };
    for (const auto &row : rows)
        EXPECT_EQ(row.selected, FromDocument("<namespaces>" + row.nameSpaces + "</namespaces>"))
            << row.name;
}

TEST(SessionVersion, IsFoundInAnOldServicesWsdl) {
    const std::pair<const char *, const char *> rows[] = {
        {"<definitions><import namespace='urn:ozy25'/></definitions>", "ozy25 of ozy25"},
        {"<definitions><x/><import location='y' namespace='urn:ozy2'/></definitions>",
         "ozy2 of ozy2"},
        {"<w:definitions xmlns:w='u'><w:import namespace='urn:ozy25/4.1'/></w:definitions>",
         "ozy25/4.1 of ozy25/4.1"},
        {"<definitions><import namespace='urn:no'/><import namespace='urn:ozy25'/></definitions>",
         ""},
        {"<definitions><import namespace='ozy25'/></definitions>", ""},
        {"<definitions><import/></definitions>", ""},
        {"<definitions/>", ""},
        {"<other><import namespace='urn:ozy25'/></other>", ""},
        {"not xml", ""},
    };
    for (const auto &[text, found] : rows)
        EXPECT_EQ(found, FromWsdl(text)) << text;
    EXPECT_EQ("ozy2/2.0 of ozy2/2.0", Shown(OrvaneServiceVersion_Default()));
}

} // namespace
