#include "lib/lock/mxUserHisto.h"

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>

#include "lib/lock/mxUserStats.h"
#include "lib/misc/glibPtr.h"
#include "lib/misc/logFixed.h"
#include "lib/misc/utilSafe.h"

namespace {

constexpr guint32 kBinsPerDecade = 100;
constexpr size_t kNumTopCallers = 10;

struct TopCaller {
    const void *caller;
    guint64 value; /* the largest of this caller; 0: unused */
};

/* Builds a text of a first line and pieces. A piece that has no room begins another text. */
struct HistoMessage {
    std::string head;
    size_t limit;
    std::string text = head;

    void Add(const char *piece) {
        if (text.size() > head.size() && text.size() + strlen(piece) > limit)
            Write();
        text += piece;
    }
    void Write() {
        MXUserStatsLine("%s", text.c_str());
        text = head;
    }
};

std::string HistoText(const char *format, ...) G_GNUC_PRINTF(1, 2);
std::string HistoText(const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const GPtr<char> text(g_strdup_vprintf(format, arguments));
    va_end(arguments);
    return text.get();
}

} // namespace

struct MXUserHisto {
    const char *typeName;
    guint64 minValue;
    guint64 maxValue;
    guint32 numBins;
    guint64 *bins;
    std::array<TopCaller, kNumTopCallers> top;
};

namespace {

guint32 HistoBin(const MXUserHisto *histo, guint64 value) {
    if (value <= histo->minValue)
        return 0;
    guint64 ofValue = 0;
    guint64 ofMin = 0;
    guint64 denominator = 0;
    LogFixed_Base10(value, &ofValue, &denominator);
    LogFixed_Base10(histo->minValue, &ofMin, &denominator);
    // The logarithms are rounded. Without the slack, a whole decade would be in the bin before.
    const guint64 slack = denominator / 1000;
    const guint64 bin = (kBinsPerDecade * (ofValue - ofMin) + slack) / denominator;
    return guint32(std::min<guint64>(bin, histo->numBins - 1));
}

} // namespace

MXUserHisto *MXUserHistoSetUp(const char *typeName, guint64 minValue, guint32 decades) {
    VERIFY(minValue > 0 && decades > 0);
    auto *histo = new (UtilSafeCalloc0(1, sizeof(MXUserHisto))) MXUserHisto;
    histo->typeName = typeName;
    histo->minValue = minValue;
    histo->maxValue = minValue;
    for (guint32 i = 0; i < decades; i++)
        VERIFY(!__builtin_mul_overflow(histo->maxValue, 10, &histo->maxValue));
    histo->numBins = decades * kBinsPerDecade;
    histo->bins = static_cast<guint64 *>(UtilSafeCalloc0(histo->numBins, sizeof(guint64)));
    return histo;
}

void MXUserHistoTearDown(MXUserHisto *histo) {
    if (!histo)
        return;
    free(histo->bins);
    free(histo);
}

void MXUserHistoSample(MXUserHisto *histo, guint64 value, const void *caller) {
    histo->bins[HistoBin(histo, value)]++;
    const auto known = std::ranges::find(histo->top, caller, &TopCaller::caller);
    const auto place = known != histo->top.end()
                           ? known
                           : std::ranges::min_element(histo->top, {}, &TopCaller::value);
    if (value > place->value)
        *place = {caller, value};
}

void MXUserHistoDump(const MXUserHisto *histo, const MXUserHeader *header) {
    const size_t limit = MXUserGetStatsSettings().maxLineLength;
    HistoMessage bins{HistoText("MXUser: h l=%u t=%s min=%lu max=%lu\n", header->serialNumber,
                                histo->typeName, histo->minValue, histo->maxValue),
                      limit};
    for (guint32 i = 0; i < histo->numBins; i++) {
        if (histo->bins[i] != 0)
            bins.Add(HistoText(" %u-%lu\n", i, histo->bins[i]).c_str());
    }
    bins.Write();

    HistoMessage callers{HistoText("MXUser: ht l=%u t=%s\n", header->serialNumber, histo->typeName),
                         limit};
    auto top = histo->top;
    std::ranges::sort(top, std::ranges::greater(), &TopCaller::value);
    for (const TopCaller &each : top) {
        if (each.value != 0)
            callers.Add(HistoText(" %p-%lu\n", each.caller, each.value).c_str());
    }
    callers.Write();
}
