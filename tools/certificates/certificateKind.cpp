#include "tools/certificates/certificateKind.h"

#include <algorithm>
#include <array>
#include <iterator>

namespace certificates {

namespace {

/* The certificates of a chain while it is made: good ones, which the rows change. */
struct Plan {
    Traits root{.commonName = "Orvane Test Root", .isAuthority = true};
    Traits intermediate{.commonName = "Orvane Test Intermediate", .isAuthority = true};
    Traits leaf;
    int intermediates = 0;
    bool isSelfSigned = false;
    bool isRevoked = false;
    bool isOfUnknownIssuer = false; /* the anchor has the issuer's name, but another key */
};

struct Recipe {
    KindRow row;
    void (*change)(Plan &);
};

constexpr auto kRecipes = std::to_array<Recipe>({
    {{"self-signed", "its own issuer; otherwise good"}, [](Plan &p) { p.isSelfSigned = true; }},
    {{"good", "by a root that one may trust"}, [](Plan &) {}},
    {{"good-chain", "by an intermediate of such a root"}, [](Plan &p) { p.intermediates = 1; }},
    {{"good-rsa", "with an RSA key of 2048 bits"}, [](Plan &p) { p.leaf.rsaBits = 2048; }},
    {{"wildcard", "for *.localhost and *.example.test"},
     [](Plan &p) {
         p.leaf.commonName = "*.example.test";
         p.leaf.dnsNames = {"*.localhost", "*.example.test"};
         p.leaf.addresses = {};
     }},
    {{"name-only", "no alternative names, the host in the common name"},
     [](Plan &p) {
         p.leaf.dnsNames = {};
         p.leaf.addresses = {};
     }},
    {{"expired", "since an hour"}, [](Plan &p) { p.leaf.validUntil = -3600; }},
    {{"not-yet-valid", "for another hour"}, [](Plan &p) { p.leaf.validFrom = 3600; }},
    {{"wrong-host", "for elsewhere.example.test"},
     [](Plan &p) {
         p.leaf.commonName = "elsewhere.example.test";
         p.leaf.dnsNames = {"elsewhere.example.test"};
         p.leaf.addresses = {"192.0.2.1"};
     }},
    {{"unknown-issuer", "by a root with the name of the trusted one, but another key"},
     [](Plan &p) { p.isOfUnknownIssuer = true; }},
    {{"root-expired", "by a root that has expired"}, [](Plan &p) { p.root.validUntil = -3600; }},
    {{"intermediate-expired", "by an intermediate that has expired"},
     [](Plan &p) {
         p.intermediates = 1;
         p.intermediate.validUntil = -3600;
     }},
    {{"intermediate-no-ca", "by an intermediate that is no authority"},
     [](Plan &p) {
         p.intermediates = 1;
         p.intermediate.isAuthority = false;
         p.intermediate.keyUsage = KeyUsage::CertificatesToo;
     }},
    {{"intermediate-no-sign", "by an intermediate whose key may not sign certificates"},
     [](Plan &p) {
         p.intermediates = 1;
         p.intermediate.keyUsage = KeyUsage::SignatureOnly;
     }},
    {{"name-constraint", "by an intermediate that may only issue for example.test"},
     [](Plan &p) {
         p.intermediates = 1;
         p.intermediate.permittedDns = {"example.test"};
     }},
    {{"path-length", "by two intermediates under a root that allows one"},
     [](Plan &p) {
         p.intermediates = 2;
         p.root.pathLength = 1;
         p.intermediate.pathLength = -1;
     }},
    {{"client-only", "for clients only"}, [](Plan &p) { p.leaf.purpose = Purpose::Client; }},
    {{"critical-extension", "with an unknown critical extension"},
     [](Plan &p) { p.leaf.criticalExtension = "1.3.6.1.4.1.55555.1.2"; }},
    {{"revoked", "revoked by its issuer's list"}, [](Plan &p) { p.isRevoked = true; }},
    {{"bad-signature", "with one bit of the signature turned"},
     [](Plan &p) { p.leaf.signatureIsBroken = true; }},
    {{"rsa-1022", "with an RSA key of 1022 bits"}, [](Plan &p) { p.leaf.rsaBits = 1022; }},
    {{"rsa-1023", "with an RSA key of 1023 bits"}, [](Plan &p) { p.leaf.rsaBits = 1023; }},
    {{"rsa-1024", "with an RSA key of 1024 bits"}, [](Plan &p) { p.leaf.rsaBits = 1024; }},
    {{"md5", "signed with MD5"},
     [](Plan &p) {
         p.root.rsaBits = 2048;
         p.leaf.digest = Digest::Md5;
     }},
    {{"sha1", "signed with SHA-1"},
     [](Plan &p) {
         p.root.rsaBits = 2048;
         p.leaf.digest = Digest::Sha1;
     }},
    {{"embedded-nul", "with a NUL in its common name, and no other name"},
     [](Plan &p) {
         p.leaf.commonName = std::string("localhost\0.example.test", 23);
         p.leaf.dnsNames = {};
         p.leaf.addresses = {};
     }},
    {{"version-1", "of X.509 version 1, without extensions"}, [](Plan &p) { p.leaf.version = 1; }},
    {{"large", "a chain of more than 100 KB"},
     [](Plan &p) {
         p.intermediates = 4;
         p.intermediate.padding = 24 << 10;
         p.leaf.padding = 8 << 10;
     }},
});

constexpr auto kRows = [] {
    std::array<KindRow, kRecipes.size()> rows{};
    std::ranges::transform(kRecipes, rows.begin(), &Recipe::row);
    return rows;
}();

Presented Make(const Plan &plan) {
    Presented made;
    if (plan.isSelfSigned) {
        made.chain = {SelfSigned(plan.leaf)};
        made.anchor = made.chain.front();
        return made;
    }
    const Certificate root = SelfSigned(plan.root);
    made.anchor = plan.isOfUnknownIssuer ? SelfSigned(plan.root) : root;
    std::vector<Certificate> down = {root};
    for (int i = 0; i < plan.intermediates; i++) {
        Traits traits = plan.intermediate;
        if (plan.intermediates > 1)
            traits.commonName += " " + std::to_string(i + 1);
        down.push_back(IssuedBy(down.back(), traits));
    }
    down.push_back(IssuedBy(down.back(), plan.leaf));
    made.chain.assign(std::make_move_iterator(down.rbegin()),
                      std::make_move_iterator(down.rend() - 1));
    if (plan.isRevoked)
        made.revocationList = RevocationList(root, {made.Leaf()});
    return made;
}

} // namespace

std::span<const KindRow> Kinds() {
    return kRows;
}

std::optional<Presented> MakeKind(std::string_view name) {
    const auto *recipe =
        std::ranges::find(kRecipes, name, [](const Recipe &r) { return r.row.name; });
    if (recipe == kRecipes.end())
        return std::nullopt;
    Plan plan;
    recipe->change(plan);
    return Make(plan);
}

} // namespace certificates
