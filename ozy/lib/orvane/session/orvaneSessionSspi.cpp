/*
 * Single sign-on needs a provider that this platform does not have: the exchange never starts, and a
 * connect that asks for it fails at the login.
 */
#include "ozy/lib/orvane/session/orvaneSessionInt.h"

OrvaneSspiState *orvane_create_sspi_state(const char *) {
    return nullptr;
}

void orvane_destroy_sspi_state(OrvaneSspiState *) {}

gboolean orvane_set_sspi_challenge(OrvaneSspiState *, const char *) {
    return FALSE;
}

gboolean orvane_get_sspi_response(OrvaneSspiState *, char **token) {
    *token = nullptr;
    return FALSE;
}
