/*
 * attackedService.h -- the service of sessionFixture.h, with one answer that is the attacker's
 *
 *   AttackedService service({.method = "Login", .answer = {"HTTP/1.1 200 OK\r\nContent-Length: -1\r\n\r\n"}});
 *   testLoop::SetIdle([&] { service.GoOn(); return 20; });
 *
 * An attack on "WaitForUpdatesEx" is launched when the application makes its first call, "CurrentTime", and that call is
 * answered once the attack was taken: when the next wait for updates comes in, or after some patience.
 */
#pragma once

#include <string>

#include "tests/ozy/lib/orvane/session/sessionFixture.h"

namespace hostile {

struct Attack {
    std::string method;  /* by the name of the call, or of the document's file; empty: none */
    CannedAnswer answer; /* the attacker's; without bytes and without an end, silence */
};

struct AttackedService : Service {
    explicit AttackedService(Attack its);

    /* To be called often. */
    void GoOn();

private:
    Attack attack;
    CannedAnswer call;     /* the answer that is held back */
    gint64 launchedAt = 0; /* 0: not yet */
    size_t numWaits = 0;   /* before that */
    bool isAnswered = false;
};

} // namespace hostile
