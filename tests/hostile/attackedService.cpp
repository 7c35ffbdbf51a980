#include "tests/hostile/attackedService.h"

namespace hostile {

namespace {

constexpr char kWait[] = "WaitForUpdatesEx";
constexpr char kCall[] = "CurrentTime";
constexpr gint64 kPatience = 300 * G_TIME_SPAN_MILLISECOND;

} // namespace

AttackedService::AttackedService(Attack its) : attack(std::move(its)) {
    if (attack.method == kWait)
        call = std::exchange(answers[kCall], CannedAnswer{});
    else if (!attack.method.empty())
        answers[attack.method] = attack.answer;
}

void AttackedService::GoOn() {
    if (attack.method != kWait || isAnswered)
        return;
    if (launchedAt == 0 && Count(kCall) > 0 && Count(kWait) > 0) {
        launchedAt = g_get_monotonic_time();
        numWaits = Count(kWait);
        server.Send(Last(kWait).connection, attack.answer.bytes, attack.answer.close);
    }
    if (launchedAt != 0 &&
        (Count(kWait) > numWaits || g_get_monotonic_time() > launchedAt + kPatience)) {
        isAnswered = true;
        server.Send(Last(kCall).connection, call.bytes);
        answers[kCall] = call;
    }
}

} // namespace hostile
