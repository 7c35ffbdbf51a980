#include "tools/orvane/typedValue.h"

#include <array>
#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <glib-unix.h>
#include <nlohmann/json.hpp>
#include <orvane/json.h>
#include <orvane/schema/qorm.h>
#include <unistd.h>

#include "tools/orvane/descriptor.h"
#include "tools/orvane/failure.h"
#include "tools/orvane/jsonText.h"
#include "tools/orvane/operation.h"
#include "tools/orvane/schemaWords.h"
#include "tools/orvane/sendableText.h"
#include "tools/orvane/sourcePtr.h"
#include "tools/orvane/terminal.h"
#include "tools/orvane/wipedTexts.h"

namespace orvaneCli {

namespace {

constexpr size_t kMostBytes = size_t(64) << 20; /* of a file */
/* a pipe whose writer has yet to come is waited for by the loop */
constexpr int kReading = O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;
constexpr int kWaitSeconds = 3600; /* then the wait begins anew */

gboolean OnReadable(gint, GIOCondition, gpointer isReadable) {
    *static_cast<bool *>(isReadable) = true;
    return G_SOURCE_REMOVE;
}

/* Waits until a pipe or terminal has something to read. The session lives on meanwhile. */
void WaitForInput(int descriptor) {
    bool isReadable = false;
    const SourcePtr source(
        g_unix_fd_source_new(descriptor, static_cast<GIOCondition>(G_IO_IN | G_IO_HUP | G_IO_ERR)));
    g_source_set_callback(source.get(), G_SOURCE_FUNC(OnReadable), &isReadable, nullptr);
    g_source_attach(source.get(), nullptr);
    while (!RunUntil([&] { return isReadable; }, kWaitSeconds)) {
    }
}

std::string ReadWhole(const std::string &path) {
    const Descriptor file(path == "-" ? STDIN_FILENO : open(path.c_str(), kReading));
    std::array<char, 65536> block;
    std::string content;
    content.reserve(
        block.size()); /* so that a short secret is not left where the text was before */
    ssize_t count = file.Number() >= 0 ? 1 : -1;
    while (count > 0 && content.size() <= kMostBytes) {
        WaitForInput(file.Number());
        count = read(file.Number(), block.data(), block.size());
        if (count < 0 && (errno == EINTR || errno == EAGAIN))
            count = 1;
        else if (count > 0)
            content.append(block.data(), size_t(count));
    }
    explicit_bzero(block.data(), block.size());
    if (count < 0)
        throw BadUsage(Text(MSGID("value.file") "%s cannot be read: %s",
                            Printable(path.empty() ? "@" : path).c_str(), ErrorText(errno)));
    if (content.size() > kMostBytes)
        throw BadUsage(Text(MSGID("value.large") "%s has more than %d MiB", Printable(path).c_str(),
                            static_cast<int>(kMostBytes >> 20)));
    return content;
}

/* The text that was typed, or the content of the file that it names. */
std::string ContentOf(const std::string &text, bool isBinary) {
    if (text.starts_with("@@"))
        return text.substr(1);
    if (!text.starts_with('@'))
        return text;
    std::string content = ReadWhole(text.substr(1));
    if (!isBinary && content.ends_with('\n'))
        content.pop_back();
    return content;
}

void CheckText(const std::string &name, const std::string &text) {
    if (const std::string why = WhyUnsendable(text); !why.empty())
        throw BadUsage(Text(MSGID("value.bad") "%s: %s", name.c_str(), why.c_str()));
}

std::string Quoted(const std::string &name, const std::string &text) {
    CheckText(name, text);
    return JsonText(text);
}

void CheckSingle(const std::string &name, const std::vector<std::string> &texts) {
    if (texts.size() != 1)
        throw BadUsage(Text(MSGID("value.twice") "%s is given more than once", name.c_str()));
}

std::string Base64(const std::string &bytes) {
    const GPtr<char> text(
        g_base64_encode(reinterpret_cast<const guchar *>(bytes.data()), bytes.size()));
    return '"' + std::string(text.get()) + '"';
}

bool IsJsonNumber(const std::string &text) {
    return nlohmann::json::parse(text, nullptr, false).is_number();
}

/* What begins like an object or list of JSON is one. */
bool LooksLikeJson(std::string_view text) {
    const size_t begin = text.find_first_not_of(" \t\r\n");
    return begin != std::string_view::npos && (text[begin] == '{' || text[begin] == '[');
}

/* Any value: what JSON knows is one, all else a text. */
std::string AnyJson(const std::string &name, const std::string &text) {
    if (LooksLikeJson(text) || text == "true" || text == "false" || IsJsonNumber(text))
        return text;
    return Quoted(name, text);
}

/* The class that a JSON object names, if another than the declared one may be meant. */
GType ClassOfJson(const std::string &json, const ValuePlace &place) {
    const auto object = nlohmann::json::parse(json, nullptr, false);
    if (!place.isTypeUncertain || !object.is_object() || !object.contains("_type") ||
        !object["_type"].is_string())
        return place.type;
    const GType named = orvane_lookup_type(object["_type"].get<std::string>().c_str());
    return g_type_is_a(named, SKEMA_TYPE_QORM_DATA_OBJECT) ? named : place.type;
}

bool IsData(GType type) {
    return g_type_is_a(type, SKEMA_TYPE_QORM_DATA_OBJECT);
}

} // namespace

NamedText SplitNamedText(const std::string &word) {
    const size_t sign = word.find('=');
    if (sign == std::string::npos || sign == 0)
        throw BadUsage(Text(MSGID("value.noName") "\"%s\" is not of the form NAME=VALUE",
                            Printable(word).c_str()));
    return {word.substr(0, sign), word.substr(sign + 1)};
}

std::string ValueReader::ReferenceJson(const std::string &name, const std::string &word,
                                       GType type) const {
    if (LooksLikeJson(word))
        return word;
    const ObjectPtr<SkemaQormManagedObject> object = find(word);
    if (!g_type_is_a(G_OBJECT_TYPE(object.get()), type))
        throw BadUsage(Text(MSGID("value.otherClass") "%s: \"%s\" is a %s, not a %s", name.c_str(),
                            Printable(word).c_str(), TypeWord(G_OBJECT_TYPE(object.get())).c_str(),
                            TypeWord(type).c_str()));
    return nlohmann::json{{"_type", TypeWord(G_OBJECT_TYPE(object.get()))}, {"_id", object->id}}
        .dump();
}

/* Numbers that are whole, words, times and addresses are read from a JSON text as well. */
std::string ValueReader::ElementJson(const std::string &name, const std::string &content,
                                     GType type) const {
    if (g_type_is_a(type, SKEMA_TYPE_QORM_MANAGED_OBJECT))
        return ReferenceJson(name, content, type);
    if (G_TYPE_FUNDAMENTAL(type) == G_TYPE_OBJECT && LooksLikeJson(content))
        return content;
    if (type == G_TYPE_VALUE)
        return AnyJson(name, content);
    const bool isReal = type == G_TYPE_FLOAT || type == G_TYPE_DOUBLE;
    const bool isTruth = type == G_TYPE_BOOLEAN && (content == "true" || content == "false");
    if (isTruth || (isReal && IsJsonNumber(content)))
        return content;
    return Quoted(name, content);
}

void ValueReader::Read(const std::string &name, const std::vector<std::string> &texts,
                       const ValuePlace &place, GValue *value) const {
    std::vector<std::string> read;
    const WipedTexts wiped(read);
    if (place.type != G_TYPE_STRING || place.elementType != 0) {
        read.push_back(Json(name, texts, place));
        return ReadJson(name, read[0], place, value);
    }
    CheckSingle(name, texts); /* a text, which may be a secret, is not copied by a reader of JSON */
    read.push_back(ContentOf(texts[0], false));
    CheckText(name, read[0]);
    g_value_set_string(g_value_init(value, G_TYPE_STRING), read[0].c_str());
}

std::string ValueReader::Json(const std::string &name, const std::vector<std::string> &texts,
                              const ValuePlace &place) const {
    const bool isList = place.elementType != 0;
    const GType type = isList ? place.elementType : place.type;
    if (!isList)
        CheckSingle(name, texts);
    std::string all;
    for (const std::string &text : texts) {
        const bool isFileOfBytes =
            type == ORVANE_TYPE_BYTE_ARRAY && text.starts_with('@') && !text.starts_with("@@");
        std::vector<std::string> parts;
        const WipedTexts wiped(parts);
        parts.push_back(ContentOf(text, isFileOfBytes));
        if (isList && texts.size() == 1 && parts[0].starts_with('[') && !isFileOfBytes)
            return parts[0];
        parts.push_back(isFileOfBytes ? Base64(parts[0]) : ElementJson(name, parts[0], type));
        if (!all.empty())
            all += ", ";
        all += parts[1];
    }
    return isList ? "[" + all + "]" : all;
}

void ValueReader::ReadJson(const std::string &name, const std::string &json,
                           const ValuePlace &place, GValue *value) const {
    GType type = place.type;
    if (place.elementType == 0 && IsData(type))
        type = ClassOfJson(json, place);
    GError *error = nullptr;
    if (!orvane_value_from_json(session, type, place.elementType, json.c_str(), value, &error)) {
        const std::string why = Printable(TakeMessage(error));
        throw BadUsage(Text(MSGID("value.bad") "%s: %s", name.c_str(), why.c_str()));
    }
    if (const std::string why = WhyJsonUnsendable(json); !why.empty()) {
        g_value_unset(value);
        throw BadUsage(Text(MSGID("value.bad") "%s: %s", name.c_str(), why.c_str()));
    }
    const bool isList = place.elementType != 0;
    if (isList && static_cast<GValueArray *>(g_value_get_boxed(value))->n_values == 0) {
        g_value_unset(value);
        *value = G_VALUE_INIT;
    }
}

} // namespace orvaneCli
