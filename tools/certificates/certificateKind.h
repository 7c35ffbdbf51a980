/*
 * certificateKind.h -- certificates by name, "expired" or "wrong-host": what a server may present
 *
 *   const auto shown = MakeKind("intermediate-no-ca");
 *   serve(shown->Pem(), shown->KeyPem());
 *   trust(shown->anchor.pem);
 *
 * All but the self-signed ones come from an authority made along with them, "Orvane Test Root".
 * A good one bears "localhost", 127.0.0.1 and ::1.
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

/* What a server presents, and what belongs to it. */
struct Presented {
    std::vector<Certificate> chain; /* the server's own first; without the anchor */
    Certificate anchor;             /* what one has to trust; a self-signed one is its own */
    std::string revocationList;     /* PEM, by the anchor; empty but for the revoked */

    const Certificate &Leaf() const { return chain.front(); }
    std::string Pem() const { return PemOf(chain); }
    const std::string &KeyPem() const { return chain.front().key->Pem(); }
};

struct KindRow {
    const char *name;
    const char *text; /* what is to be known of it, for a list */
};
std::span<const KindRow> Kinds();

/* Nothing if there is no such kind. */
std::optional<Presented> MakeKind(std::string_view name);

} // namespace certificates
