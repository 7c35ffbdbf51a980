/*
 * keyLocatorText.cpp -- locators as text
 *
 *   text      = "halden:key/" locator
 *   locator   = "null/" marker
 *             | "rawkey/" field                           CryptoKey_Export() under the wrap passphrase
 *             | "phrase/" id "/" field                    how the key is made of the passphrase
 *             | "ldap/" id "/" field "/" field "/" number "/" ("TRUE" | "FALSE") "/" field
 *             | "script/" id "/" field "/" field          path, data
 *             | "role/" id "/" name
 *             | "list/(" [locator {"," locator}] ")"
 *             | "pair/(" locator "," field "," field ")"  locker, keyed hash, locked data in Base64
 *   field     = {letter | digit | "%" digit digit}        escapes are lower-case hexadecimal digits
 *             | "<HALDEN-NULL>" | "<HALDEN-EMPTYSTRING>"  no text; an empty text
 *
 * Reading takes names and markers in any case, a marker also when it is escaped, and other bytes of ASCII that are not
 * escaped. The last field of a locator ends at "," inside a list or pair, else at "/".
 */
#include "lib/crypto/cryptoRounds.h"
#include "lib/keyLocator/keyLocatorInt.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "lib/keyLocator/keyLocatorWrapPassphrase.h"
#include "lib/misc/base64.h"
#include "lib/misc/panic.h"
#include "lib/misc/secretBuf.h"

namespace {

constexpr const char *kScheme = "halden:key";
constexpr const char *kNullMarker = "<HALDEN-NULL>";
constexpr const char *kEmptyMarker = "<HALDEN-EMPTYSTRING>";
constexpr const char *kTrue = "TRUE";
constexpr const char *kFalse = "FALSE";

struct TypeName {
    KeyLocatorType type;
    const char *name;
};

constexpr auto kTypes = std::to_array<TypeName>({
    {KEYLOCATOR_TYPE_NULL, "null"},
    {KEYLOCATOR_TYPE_LEAF, "rawkey"},
    {KEYLOCATOR_TYPE_PASSPHRASE, "phrase"},
    {KEYLOCATOR_TYPE_LDAP, "ldap"},
    {KEYLOCATOR_TYPE_SCRIPT, "script"},
    {KEYLOCATOR_TYPE_ROLE, "role"},
    {KEYLOCATOR_TYPE_LIST, "list"},
    {KEYLOCATOR_TYPE_PAIR, "pair"},
});

/* By number. */
constexpr auto kRoles =
    std::to_array<const char *>({"obfuscation", "adminIdent", "adminRecovery", "server"});

/* ---- writing ---- */

bool KeyLocatorEscapeAndAdd(SecretBuf *out, std::string_view text) {
    for (char c : text) {
        char escaped[4];
        if (g_ascii_isalnum(c)) {
            if (!out->Append({&c, 1}))
                return false;
            continue;
        }
        /* the byte is signed: one above 0x7f has eight digits */
        const int length = snprintf(escaped, sizeof escaped, "%%%02x", static_cast<unsigned>(c));
        if (length >= static_cast<int>(sizeof escaped))
            Panic("%s:%d Buffer too small\n", __FILE__, __LINE__);
        if (!out->Append({escaped, static_cast<gsize>(length)}))
            return false;
    }
    return true;
}

/* Adds a text, which may be NULL, as the last or only field. */
bool AddField(SecretBuf *out, const char *text) {
    if (!text)
        return out->Append(kNullMarker);
    return *text ? KeyLocatorEscapeAndAdd(out, text) : out->Append(kEmptyMarker);
}

/* Adds a text and the separator behind it. */
bool AddPart(SecretBuf *out, const char *text) {
    return AddField(out, text) && out->Append("/");
}

KeyLocError FromBool(bool hasMemory) {
    return hasMemory ? KEYLOCATOR_ERROR_SUCCESS : KEYLOCATOR_ERROR_NO_MEMORY;
}

KeyLocError ExportKey(CryptoKey *key, SecretBuf *out) {
    CryptoText text;
    gsize size;
    if (CryptoKey_Export(key, kKeyLocatorWrapPassphrase, CryptoOut(text), &size) !=
        CRYPTO_ERROR_SUCCESS)
        return KEYLOCATOR_ERROR_CRYPTO;
    return FromBool(AddField(out, text.get()));
}

KeyLocError ExportIndirect(const KeyLocatorIndirect &indirect, SecretBuf *out) {
    if (!AddPart(out, indirect.uniqueId))
        return KEYLOCATOR_ERROR_NO_MEMORY;
    const auto &u = indirect.u;
    switch (indirect.type) {
    case KEYLOCATOR_TYPE_PASSPHRASE:
        return FromBool(AddField(out, u.phrase.keyGenData));
    case KEYLOCATOR_TYPE_LDAP: {
        char port[16];
        snprintf(port, sizeof port, "%u", u.ldap.port);
        return FromBool(AddPart(out, u.ldap.string1) && AddPart(out, u.ldap.string2) &&
                        AddPart(out, port) && AddPart(out, u.ldap.isSecure ? kTrue : kFalse) &&
                        AddField(out, u.ldap.string3));
    }
    case KEYLOCATOR_TYPE_SCRIPT:
        return FromBool(AddPart(out, u.script.path) && AddField(out, u.script.data));
    case KEYLOCATOR_TYPE_ROLE:
        return FromBool(AddField(out, kRoles[u.role]));
    default:
        return KEYLOCATOR_ERROR_ILLEGAL_TYPE;
    }
}

KeyLocError ExportAt(const KeyLocator *locator, int depth, SecretBuf *out);

KeyLocError ExportMembers(const KeyLocator *list, int depth, SecretBuf *out) {
    for (KeyLocator *node = KeyLocator_ListFirst(list); node;
         node = KeyLocator_ListNext(list, node)) {
        if (node != KeyLocator_ListFirst(list) && !out->Append(","))
            return KEYLOCATOR_ERROR_NO_MEMORY;
        const KeyLocError error = ExportAt(node, depth + 1, out);
        if (error != KEYLOCATOR_ERROR_SUCCESS)
            return error;
    }
    return KEYLOCATOR_ERROR_SUCCESS;
}

KeyLocError ExportPair(const KeyLocatorPair &pair, int depth, SecretBuf *out) {
    const KeyLocError error = ExportAt(pair.locker, depth + 1, out);
    if (error != KEYLOCATOR_ERROR_SUCCESS)
        return error;
    CryptoText base64;
    if (!Base64_EasyEncode(pair.lockedData, pair.lockedSize, CryptoOut(base64)))
        return KEYLOCATOR_ERROR_NO_MEMORY;
    return FromBool(out->Append(",") && AddField(out, CryptoKeyedHash_ToString(pair.mac)) &&
                    out->Append(",") && AddField(out, base64.get()));
}

KeyLocError ExportAt(const KeyLocator *locator, int depth, SecretBuf *out) {
    if (depth > kKeyLocatorMaxDepth)
        return KEYLOCATOR_ERROR_INVALID_TEXT;
    const auto name = std::ranges::find(kTypes, locator->type, &TypeName::type);
    if (name == kTypes.end())
        return KEYLOCATOR_ERROR_ILLEGAL_TYPE;
    if (!out->Append(name->name) || !out->Append("/"))
        return KEYLOCATOR_ERROR_NO_MEMORY;
    if (locator->type == KEYLOCATOR_TYPE_NULL)
        return FromBool(KeyLocatorEscapeAndAdd(out, kEmptyMarker));
    if (locator->type == KEYLOCATOR_TYPE_LEAF)
        return ExportKey(locator->u.key, out);
    if (KeyLocatorClassOfType(locator->type) == KEYLOCATOR_CLASS_INDIRECT)
        return ExportIndirect(locator->u.indirect, out);

    if (!out->Append("("))
        return KEYLOCATOR_ERROR_NO_MEMORY;
    const KeyLocError error = locator->type == KEYLOCATOR_TYPE_LIST
                                  ? ExportMembers(locator, depth, out)
                                  : ExportPair(locator->u.pair, depth, out);
    return error == KEYLOCATOR_ERROR_SUCCESS ? FromBool(out->Append(")")) : error;
}

/* ---- reading ---- */

bool IsText(std::string_view text, const char *wanted) {
    return text.size() == strlen(wanted) &&
           g_ascii_strncasecmp(text.data(), wanted, text.size()) == 0;
}

/*
 * Decodes a field. False if it has a "%" without two digits, or a byte above 0x7f: such a byte could not be written
 * again. What follows a NUL is dropped.
 */
bool Decode(std::string_view field, SecretBlock *text) {
    *text = SecretBlock::Allocate(field.size() + 1);
    if (!*text)
        return false;
    guint8 *to = text->data();
    for (gsize i = 0; i < field.size(); i++) {
        int byte = static_cast<guint8>(field[i]);
        if (byte == '%') {
            const bool hasDigits = field.size() - i > 2 && g_ascii_isxdigit(field[i + 1]) &&
                                   g_ascii_isxdigit(field[i + 2]);
            byte = hasDigits ? g_ascii_xdigit_value(field[i + 1]) * 16 +
                                   g_ascii_xdigit_value(field[i + 2])
                             : G_MAXUINT8;
            i += 2;
        }
        if (byte > 0x7f)
            return false;
        *to++ = static_cast<guint8>(byte);
    }
    const gsize length =
        strnlen(reinterpret_cast<char *>(text->data()), static_cast<gsize>(to - text->data()));
    Secret_Wipe(text->data() + length, text->size() - length);
    return true;
}

/* Takes what is in front of the delimiter, and the delimiter if it is there. */
std::string_view TakeTo(std::string_view *cursor, char delimiter) {
    const std::string_view field = cursor->substr(0, cursor->find(delimiter));
    cursor->remove_prefix(std::min(field.size() + 1, cursor->size()));
    return field;
}

/* Reads a field. False, with out NULL, if it is empty, malformed, or the marker of no text; the last is true, also with
 * NULL, if allowNull. */
bool KeyLocatorConsumeToDelim(bool allowNull, char delimiter, std::string_view *cursor,
                              CryptoText *out) {
    out->reset();
    const std::string_view field = TakeTo(cursor, delimiter);
    SecretBlock text;
    if (field.empty() || !Decode(field, &text))
        return false;
    auto *decoded = reinterpret_cast<char *>(text.data());
    if (IsText(decoded, kNullMarker))
        return allowNull;
    if (IsText(decoded, kEmptyMarker))
        Secret_Wipe(decoded, strlen(decoded));
    gsize room;
    out->reset(reinterpret_cast<char *>(text.release(&room)));
    return true;
}

/*
 * Where each "(" of a text is closed, found in one pass: a text can nest its parentheses as deep as it likes, and must
 * not be searched anew at each depth.
 */
class Parentheses {
public:
    Parentheses() = default;
    Parentheses(const Parentheses &) = delete;
    Parentheses &operator=(const Parentheses &) = delete;
    ~Parentheses() { free(pairs); }

    /* Pairs that are nested deeper than locators may be are an error, as is a lack of memory. */
    KeyLocError Find(std::string_view text) {
        const auto count = static_cast<gsize>(std::ranges::count(text, '('));
        pairs = static_cast<Pair *>(calloc(count + 1, sizeof(Pair)));
        if (!pairs)
            return KEYLOCATOR_ERROR_NO_MEMORY;
        gsize open[kKeyLocatorMaxDepth];
        int depth = 0;
        for (const char &c : text) {
            if (c == '(') {
                if (depth == kKeyLocatorMaxDepth)
                    return KEYLOCATOR_ERROR_INVALID_TEXT;
                open[depth++] = numPairs;
                pairs[numPairs++].open = &c;
            } else if (c == ')' && depth > 0) {
                pairs[open[--depth]].close = &c;
            }
        }
        return KEYLOCATOR_ERROR_SUCCESS;
    }

    /* nullptr if this one is not closed. */
    const char *CloseOf(const char *open) const {
        return std::lower_bound(pairs, pairs + numPairs, open,
                                [](const Pair &pair, const char *at) { return pair.open < at; })
            ->close;
    }

private:
    struct Pair {
        const char *open;
        const char *close;
    };
    Pair *pairs = nullptr;
    gsize numPairs = 0;
};

/* What is the same throughout a text. */
struct Reader {
    Parentheses parentheses;

    KeyLocError ReadLocator(bool inList, int depth, std::string_view *cursor, KeyLocator **locator);
    KeyLocError ReadCompound(bool inList, int depth, std::string_view *cursor, KeyLocator *locator);
    KeyLocError ReadList(std::string_view inside, int depth, KeyLocator *list);
    KeyLocError ReadPair(std::string_view inside, int depth, KeyLocatorPair *pair);
};

bool ReadNumber(std::string_view *cursor, guint32 *number) {
    CryptoText text;
    if (!KeyLocatorConsumeToDelim(false, '/', cursor, &text))
        return false;
    guint64 value = 0;
    for (const char *at = text.get(); *at; at++) {
        if (!g_ascii_isdigit(*at))
            return false;
        value = value * 10 + static_cast<guint64>(*at - '0');
        if (value > G_MAXUINT32)
            return false;
    }
    *number = static_cast<guint32>(value);
    return *text;
}

bool ReadFlag(std::string_view *cursor, gboolean *flag) {
    CryptoText text;
    if (!KeyLocatorConsumeToDelim(false, '/', cursor, &text))
        return false;
    *flag = IsText(text.get(), kTrue);
    return *flag || IsText(text.get(), kFalse);
}

bool ReadRole(char terminator, std::string_view *cursor, KeyLocatorRole *role) {
    CryptoText text;
    if (!KeyLocatorConsumeToDelim(false, terminator, cursor, &text))
        return false;
    const auto name =
        std::ranges::find_if(kRoles, [&](const char *each) { return IsText(text.get(), each); });
    *role = static_cast<KeyLocatorRole>(name - kRoles.begin());
    return name != kRoles.end();
}

/* Reads a field into where a locator owns it. */
bool ReadInto(bool allowNull, char delimiter, std::string_view *cursor, char **to) {
    CryptoText text;
    const bool isGood = KeyLocatorConsumeToDelim(allowNull, delimiter, cursor, &text);
    *to = text.release();
    return isGood;
}

bool ReadIndirect(char terminator, std::string_view *cursor, KeyLocatorIndirect *indirect) {
    if (!ReadInto(false, '/', cursor, &indirect->uniqueId))
        return false;
    auto &u = indirect->u;
    switch (indirect->type) {
    case KEYLOCATOR_TYPE_PASSPHRASE:
        if (!ReadInto(false, terminator, cursor, &u.phrase.keyGenData))
            return false;
        u.phrase.keyGenDataSize = strlen(u.phrase.keyGenData);
        return true;
    case KEYLOCATOR_TYPE_LDAP:
        return ReadInto(true, '/', cursor, &u.ldap.string1) &&
               ReadInto(true, '/', cursor, &u.ldap.string2) && ReadNumber(cursor, &u.ldap.port) &&
               ReadFlag(cursor, &u.ldap.isSecure) &&
               ReadInto(false, terminator, cursor, &u.ldap.string3);
    case KEYLOCATOR_TYPE_SCRIPT:
        if (!ReadInto(false, '/', cursor, &u.script.path) ||
            !ReadInto(true, terminator, cursor, &u.script.data))
            return false;
        u.script.dataSize = u.script.data ? strlen(u.script.data) + 1 : 0;
        return true;
    default:
        return ReadRole(terminator, cursor, &u.role);
    }
}

KeyLocError ReadKey(char terminator, std::string_view *cursor, CryptoKey **key) {
    CryptoText text;
    if (!KeyLocatorConsumeToDelim(false, terminator, cursor, &text))
        return KEYLOCATOR_ERROR_INVALID_TEXT;
    const CryptoError error =
        CryptoKey_Import(text.get(), strlen(text.get()), kKeyLocatorWrapPassphrase, key);
    return error == CRYPTO_ERROR_SUCCESS ? KEYLOCATOR_ERROR_SUCCESS : KEYLOCATOR_ERROR_CRYPTO;
}

KeyLocError ReadNull(char terminator, std::string_view *cursor) {
    CryptoText text;
    const bool isEmpty =
        KeyLocatorConsumeToDelim(false, terminator, cursor, &text) && *text == '\0';
    return isEmpty ? KEYLOCATOR_ERROR_SUCCESS : KEYLOCATOR_ERROR_INVALID_TEXT;
}

KeyLocError Reader::ReadList(std::string_view inside, int depth, KeyLocator *list) {
    while (!inside.empty()) {
        KeyLocatorPtr member;
        const KeyLocError error = ReadLocator(true, depth + 1, &inside, CryptoOut(member));
        if (error != KEYLOCATOR_ERROR_SUCCESS)
            return error;
        KeyLocator_ListAddLast(list, member.release());
    }
    return KEYLOCATOR_ERROR_SUCCESS;
}

KeyLocError Reader::ReadPair(std::string_view inside, int depth, KeyLocatorPair *pair) {
    const KeyLocError error = ReadLocator(true, depth + 1, &inside, &pair->locker);
    if (error != KEYLOCATOR_ERROR_SUCCESS)
        return error;
    CryptoText text;
    if (!KeyLocatorConsumeToDelim(false, ',', &inside, &text))
        return KEYLOCATOR_ERROR_INVALID_TEXT;
    if (CryptoKeyedHash_FromString(text.get(), &pair->mac) != CRYPTO_ERROR_SUCCESS)
        return KEYLOCATOR_ERROR_CRYPTO;
    if (!KeyLocatorConsumeToDelim(false, '\0', &inside, &text))
        return KEYLOCATOR_ERROR_INVALID_TEXT;
    return Base64_EasyDecode(text.get(), &pair->lockedData, &pair->lockedSize)
               ? KEYLOCATOR_ERROR_SUCCESS
               : KEYLOCATOR_ERROR_NO_MEMORY;
}

KeyLocError Reader::ReadCompound(bool inList, int depth, std::string_view *cursor,
                                 KeyLocator *locator) {
    if (cursor->empty() || cursor->front() != '(')
        return KEYLOCATOR_ERROR_INVALID_TEXT;
    const char *open = cursor->data();
    const char *close = parentheses.CloseOf(open);
    if (!close || close >= open + cursor->size())
        return KEYLOCATOR_ERROR_INVALID_TEXT;
    std::string_view inside(open + 1, static_cast<gsize>(close - open - 1));
    cursor->remove_prefix(inside.size() + 2);
    if (!cursor->empty()) {
        if (cursor->front() != (inList ? ',' : '/'))
            return KEYLOCATOR_ERROR_INVALID_TEXT;
        cursor->remove_prefix(1);
    }
    if (IsText(inside, kNullMarker))
        return KEYLOCATOR_ERROR_INVALID_TEXT;
    if (IsText(inside, kEmptyMarker))
        inside = {};
    return locator->type == KEYLOCATOR_TYPE_LIST ? ReadList(inside, depth, locator)
                                                 : ReadPair(inside, depth, &locator->u.pair);
}

KeyLocError Reader::ReadLocator(bool inList, int depth, std::string_view *cursor,
                                KeyLocator **locator) {
    *locator = nullptr;
    CryptoText name;
    if (depth > kKeyLocatorMaxDepth || !KeyLocatorConsumeToDelim(false, '/', cursor, &name))
        return KEYLOCATOR_ERROR_INVALID_TEXT;
    const auto row = std::ranges::find_if(
        kTypes, [&](const TypeName &each) { return IsText(name.get(), each.name); });
    if (row == kTypes.end())
        return KEYLOCATOR_ERROR_INVALID_TEXT;
    KeyLocatorPtr made(KeyLocatorMake(row->type));
    if (!made)
        return KEYLOCATOR_ERROR_NO_MEMORY;

    const char terminator = inList ? ',' : '/';
    KeyLocError error;
    if (row->type == KEYLOCATOR_TYPE_NULL)
        error = ReadNull(terminator, cursor);
    else if (row->type == KEYLOCATOR_TYPE_LEAF)
        error = ReadKey(terminator, cursor, &made->u.key);
    else if (KeyLocatorClassOfType(row->type) == KEYLOCATOR_CLASS_COMPOUND)
        error = ReadCompound(inList, depth, cursor, made.get());
    else
        error = ReadIndirect(terminator, cursor, &made->u.indirect) ? KEYLOCATOR_ERROR_SUCCESS
                                                                    : KEYLOCATOR_ERROR_INVALID_TEXT;
    if (error == KEYLOCATOR_ERROR_SUCCESS)
        *locator = made.release();
    return error;
}

} // namespace

KeyLocError KeyLocatorImportText(std::string_view text, KeyLocator **locator) {
    const StoredRoundsScope rounds;
    *locator = nullptr;
    std::string_view cursor = text.substr(0, text.find('\0'));
    CryptoText scheme;
    if (!KeyLocatorConsumeToDelim(false, '/', &cursor, &scheme) || !IsText(scheme.get(), kScheme))
        return KEYLOCATOR_ERROR_INVALID_TEXT;
    Reader reader;
    const KeyLocError error = reader.parentheses.Find(cursor);
    if (error != KEYLOCATOR_ERROR_SUCCESS)
        return error;
    return reader.ReadLocator(false, 1, &cursor, locator);
}

KeyLocError KeyLocator_Import(const char *text, KeyLocator **locator) {
    return KeyLocatorImportText(text, locator);
}

KeyLocError KeyLocator_Export(const KeyLocator *locator, char **text) {
    *text = nullptr;
    SecretBuf out;
    if (!out.Append(kScheme) || !out.Append("/"))
        return KEYLOCATOR_ERROR_NO_MEMORY;
    const KeyLocError error = ExportAt(locator, 1, &out);
    if (error != KEYLOCATOR_ERROR_SUCCESS)
        return error;
    gsize size;
    *text = out.ReleaseText(&size);
    return *text ? KEYLOCATOR_ERROR_SUCCESS : KEYLOCATOR_ERROR_NO_MEMORY;
}
