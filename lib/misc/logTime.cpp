#include "lib/misc/logTime.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "lib/lock/vthreadBase.h"
#include "lib/misc/hostinfo.h"
#include "lib/misc/logText.h"

namespace {

struct LogTimeCache {
    gint64 second;     /* that the texts belong to */
    gint64 lastMS;     /* the time of the last stamp */
    char dateTime[32]; /* "" before the first stamp */
    char zone[8];
};
constinit LogTimeCache lastGood{};

void LogTimeSetSecond(gint64 second) {
    const time_t clock = second;
    tm parts;
    if (localtime_r(&clock, &parts) == nullptr)
        return; /* a year beyond all calendars: the stamp before it stays */
    char text[96];
    snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02d", parts.tm_year + 1900,
             parts.tm_mon + 1, parts.tm_mday, parts.tm_hour, parts.tm_min, parts.tm_sec);
    g_strlcpy(lastGood.dateTime, text, sizeof lastGood.dateTime);
    const long minutes = parts.tm_gmtoff / 60;
    snprintf(text, sizeof text, "%c%02ld:%02ld", minutes < 0 ? '-' : '+', labs(minutes) / 60,
             labs(minutes) % 60);
    g_strlcpy(lastGood.zone, minutes == 0 ? "Z" : text, sizeof lastGood.zone);
    lastGood.second = second;
}

void LogTimeSetMilliseconds(LogLineHeader *header, gint64 milliseconds) {
    const auto value = unsigned(milliseconds % 1000);
    const char text[] = {'.',
                         char('0' + value / 100),
                         char('0' + value / 10 % 10),
                         char('0' + value % 10),
                         '\0',
                         '\0',
                         '\0',
                         '\0'};
    static_assert(sizeof text == sizeof header->milliseconds);
    memcpy(header->milliseconds, text, sizeof text);
}

} // namespace

void LogTime_Get(LogLineHeader *header) {
    const gint64 now = Hostinfo_RealTimeUS() / 1000;
    if (VThreadBase_IsInSignal()) [[unlikely]] {
        const gint64 since = MAX(now - lastGood.lastMS, gint64{0});
        // A zone of six bytes leaves room for four digits, "Z" for nine.
        const gint64 most = strlen(lastGood.zone) > 1 ? 9999 : 999999999;
        char text[64];
        snprintf(text, sizeof text, "%.19s%.6s[+%d", lastGood.dateTime, lastGood.zone,
                 int(MIN(since / 1000, most)));
        memset(header->dateTime, 0, sizeof header->dateTime);
        memset(header->zone, 0, sizeof header->zone);
        g_strlcpy(header->dateTime, text, sizeof header->dateTime);
        LogTimeSetMilliseconds(header, since);
        strcpy(header->zone, "]");
        return;
    }
    if (now / 1000 != lastGood.second || lastGood.dateTime[0] == '\0')
        LogTimeSetSecond(now / 1000);
    lastGood.lastMS = now;
    memcpy(header->dateTime, lastGood.dateTime, sizeof header->dateTime);
    memcpy(header->zone, lastGood.zone, sizeof header->zone);
    LogTimeSetMilliseconds(header, now);
}

void LogTime_Stamp(LogLineHeader *header, gint level, char continuation) {
    LogTime_Get(header);
    VThreadBase_CopyCurName(header->threadName);
    LogText_MaskName(header->threadName, sizeof header->threadName);
    header->continuation = continuation;
    header->level = guint8(level);
}
