#include "lib/crypto/cryptoPemCost.h"

#include <algorithm>
#include <array>

#include "lib/crypto/cryptoRounds.h"
#include "lib/misc/base64.h"
#include "lib/misc/secret.h"

namespace {

constexpr std::string_view kBegin = "-----BEGIN ";
constexpr std::string_view kDashes = "-----";
constexpr std::string_view kEndLine = "\n-----END ";
constexpr std::string_view kPrivate = "PRIVATE KEY";
/*
 * A private key of 4096 bits has 3,300 characters. OpenSSL computes the public number of a DSA key that it reads, whatever
 * the label says, in a time that grows with the third power of the size.
 */
constexpr gsize kMaxPrivateKeyText = 4096;
constexpr gsize kMaxLabel = 256; /* OpenSSL reads no longer lines at once */
constexpr std::string_view kEncrypted = "ENCRYPTED PRIVATE KEY";
/* What these contain is read as what they say it is, and never as an encrypted key of the kind above. */
constexpr std::array<std::string_view, 5> kOthers = {
    "PRIVATE KEY", "RSA PRIVATE KEY", "DSA PRIVATE KEY", "RSA PUBLIC KEY", "DSA PUBLIC KEY"};

constexpr guint8 kInteger = 0x02;
constexpr guint8 kOctetString = 0x04;
constexpr guint8 kSequence = 0x30;
constexpr guint8 kConstructed = 0x20;
constexpr int kMaxDepth = 8;
constexpr std::string_view kScryptOid = "\x2b\x06\x01\x04\x01\xda\x47\x04\x0b";
/* Of scrypt: cost, block size, parallelization. Their product is the number of its steps. */
constexpr int kScryptFactors = 3;

enum class Cost { Unknown, Bearable, Unbearable };

struct Element {
    guint8 tag;
    std::string_view content;
};

/* Takes an element of DER from the front. False if there is none, also for lengths that only BER has. */
bool TakeElement(std::string_view *der, Element *element) {
    if (der->size() < 2)
        return false;
    element->tag = static_cast<guint8>((*der)[0]);
    gsize length = static_cast<guint8>((*der)[1]);
    der->remove_prefix(2);
    if (length >= 0x80) {
        const gsize digits = length & 0x7f;
        if (digits == 0 || digits > 4 || der->size() < digits)
            return false;
        length = 0;
        for (gsize i = 0; i < digits; i++)
            length = length << 8 | static_cast<guint8>((*der)[i]);
        der->remove_prefix(digits);
    }
    if (length > der->size())
        return false;
    element->content = der->substr(0, length);
    der->remove_prefix(length);
    return true;
}

/* The numbers of an algorithm's parameters, from first to last. */
struct Numbers {
    bool isScrypt = false;
    int count = 0;
    guint64 product = 1; /* of scrypt's factors */
};

/* False if a number is too large, or what is read is no DER. */
bool CheckNumbers(std::string_view der, int depth, Numbers *numbers) {
    while (!der.empty()) {
        Element element;
        if (!TakeElement(&der, &element))
            return false;
        if (element.tag & kConstructed) {
            if (depth == kMaxDepth || !CheckNumbers(element.content, depth + 1, numbers))
                return false;
            continue;
        }
        if (element.tag != kInteger)
            continue;
        guint64 value = 0;
        if (element.content.size() > 4)
            return false;
        for (char c : element.content)
            value = value << 8 | static_cast<guint8>(c);
        if (value > kMaxStoredRounds)
            return false;
        if (numbers->isScrypt && numbers->count++ < kScryptFactors) {
            numbers->product *= std::max<guint64>(value, 1);
            if (numbers->product > kMaxStoredRounds)
                return false;
        }
    }
    return true;
}

Cost CostOfDer(std::string_view der) {
    Element whole;
    Element algorithm;
    Element data;
    if (!TakeElement(&der, &whole) || whole.tag != kSequence ||
        !TakeElement(&whole.content, &algorithm) || algorithm.tag != kSequence ||
        !TakeElement(&whole.content, &data) || (data.tag & ~kConstructed) != kOctetString)
        return Cost::Unknown;
    Numbers numbers;
    numbers.isScrypt = algorithm.content.find(kScryptOid) != std::string_view::npos;
    return CheckNumbers(algorithm.content, 0, &numbers) ? Cost::Bearable : Cost::Unbearable;
}

/*
 * Whether a body is lines of Base64 and nothing else, so that OpenSSL decodes what is decoded here. OpenSSL takes what
 * is in front of an empty line for a header, and ignores a header of up to ten bytes; a NUL hides the rest of its line.
 */
bool IsPlainBody(std::string_view body) {
    bool isFirst = true; // what is behind the label: nothing
    while (!body.empty()) {
        const gsize end = body.find('\n');
        if (end == body.npos)
            return false; // the end is not at the start of a line
        std::string_view line = body.substr(0, end);
        body.remove_prefix(end + 1);
        if (line.ends_with('\r'))
            line.remove_suffix(1);
        if (line.empty() != isFirst || !Base64_ValidEncoding(line.data(), line.size()))
            return false;
        isFirst = false;
    }
    return !isFirst;
}

Cost CostOfBody(std::string_view body) {
    if (body.find(':') != std::string_view::npos)
        return Cost::
            Unbearable; // a header that makes OpenSSL decrypt once more hides what is inside
    if (!IsPlainBody(body))
        return Cost::Unknown;
    const SecretBlock der = SecretBlock::Allocate(body.size() / 4 * 3 + 3);
    gsize size;
    if (!der || !Base64_ChunkDecode(body.data(), body.size(), der.data(), der.size(), &size))
        return Cost::Unknown;
    return CostOfDer({reinterpret_cast<const char *>(der.data()), size});
}

/* The text up to the line that ends the block for OpenSSL. False if that is too far away, or not there. */
bool FindBody(std::string_view rest, std::string_view *body) {
    rest = rest.substr(0, kMaxPrivateKeyText);
    for (gsize at = rest.find(kEndLine); at != rest.npos; at = rest.find(kEndLine, at + 1)) {
        const gsize behind = at + kEndLine.size();
        if (behind < rest.size() &&
            g_ascii_isgraph(rest[behind])) { // OpenSSL cuts spaces off first
            *body = rest.substr(0, at + 1);
            return true;
        }
    }
    return false;
}

bool IsBlockBearable(std::string_view label, std::string_view rest) {
    if (!label.ends_with(kPrivate))
        return true; // OpenSSL does not read it as a private key
    std::string_view body;
    if (!FindBody(rest, &body))
        return false;
    if (std::ranges::find(kOthers, label) != kOthers.end())
        return true;
    const Cost cost = CostOfBody(body);
    return label == kEncrypted ? cost == Cost::Bearable : cost != Cost::Unbearable;
}

} // namespace

bool CryptoPemCost_IsBearable(std::string_view pem) {
    while (pem.ends_with('\0'))
        pem.remove_suffix(1);
    if (pem.find('\0') != pem.npos)
        return pem.find(kBegin) == pem.npos; // OpenSSL does not see what follows a NUL in its line
    for (;;) {
        const gsize begin = pem.find(kBegin);
        if (begin == pem.npos)
            return true;
        pem.remove_prefix(begin + kBegin.size());
        const std::string_view label =
            pem.substr(0, std::min(pem.substr(0, kMaxLabel).find(kDashes), kMaxLabel));
        if (!IsBlockBearable(label,
                             pem.substr(std::min(label.size() + kDashes.size(), pem.size()))))
            return false;
    }
}
