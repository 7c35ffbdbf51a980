/*
 * certificateKind.h -- certificates of servers by name, such as "expired" or "wrong-host"
 *
 *   const auto shown = MakeKind("intermediate-no-ca");
 *   serve(shown->Pem(), shown->KeyPem());
 *   trust(shown->anchor.pem);
 *
 * All but the self-signed ones are issued by an authority that is made with them, "Orvane Test Root".
 * A good one has the names "localhost", 127.0.0.1 and ::1.
 *
 * Errors:  std::runtime_error.
 * Threads: any.
 */
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "tools/certificates/certificate.h"

namespace certificates {

/* The certificates that a server presents, and what clients need. */
struct Presented {
    std::vector<Certificate> chain; /* the server's own first; without the anchor */
    Certificate anchor;             /* the certificate to trust; a self-signed one is its own */
    std::string revocationList;     /* PEM, issued by the anchor; only for "revoked" */

    const Certificate &Leaf() const { return chain.front(); }
    std::string Pem() const { return PemOf(chain); }
    const std::string &KeyPem() const { return chain.front().key->Pem(); }
};

struct KindRow {
    const char *name;
    const char *text; /* a description for lists */
};
std::span<const KindRow> Kinds();

/* Returns nothing if there is no such kind. */
std::optional<Presented> MakeKind(std::string_view name);

} // namespace certificates
