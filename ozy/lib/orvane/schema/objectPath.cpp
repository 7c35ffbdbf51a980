#include <orvane/objectPath.h>

#include <cmath>
#include <cstdio>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <orvane/schema/qorm.h>

#include "lib/misc/glibPtr.h"
#include "ozy/lib/orvane/runtime/orvaneRuntime.h"
#include "ozy/lib/orvane/schema/schemaEngine.h"

namespace {

constexpr size_t kMaxSteps = 100;
constexpr size_t kMaxLength = 4096;
constexpr size_t kMaxElements = 100000;

/* A step of a path: from an object to a property, or from a list to one or all of its elements. */
struct Step {
    enum Kind { kProperty, kKey, kIndex, kAll } kind;
    std::string text; /* the name or key */
    guint64 index;
};

bool TakeChar(std::string_view *text, char wanted) {
    if (!text->starts_with(wanted))
        return false;
    text->remove_prefix(1);
    return true;
}

/* Takes a text up to a terminator and the terminator. */
std::optional<std::string> TakeUntil(std::string_view *text, std::string_view end) {
    const size_t length = text->find(end);
    if (length == std::string_view::npos)
        return std::nullopt;
    std::string taken(text->substr(0, length));
    text->remove_prefix(length + end.size());
    return taken;
}

/* Takes a key up to the quote, which a "]" and another step or the end follow: a key may have both marks in it. */
std::optional<std::string> TakeQuoted(std::string_view *text) {
    constexpr std::string_view kEnd = "\"]";
    for (size_t end = text->find(kEnd); end != std::string_view::npos;
         end = text->find(kEnd, end + 1)) {
        const std::string_view rest = text->substr(end + kEnd.size());
        if (!rest.empty() && rest[0] != '.' && rest[0] != '[')
            continue;
        std::string taken(text->substr(0, end));
        *text = rest;
        return taken;
    }
    return std::nullopt;
}

/* Reads what follows a "[", with the "]". */
std::optional<Step> ParseWhich(std::string_view *text) {
    const bool isQuoted = TakeChar(text, '"');
    std::optional<std::string> which = isQuoted ? TakeQuoted(text) : TakeUntil(text, "]");
    if (!which)
        return std::nullopt;
    if (isQuoted)
        return Step{Step::kKey, *which, 0};
    if (*which == "*")
        return Step{Step::kAll, {}, 0};
    if (!which->starts_with('#'))
        return which->empty() ? std::nullopt : std::optional(Step{Step::kKey, *which, 0});
    guint64 index = 0;
    if (!g_ascii_string_to_unsigned(which->c_str() + 1, 10, 0, G_MAXUINT, &index, nullptr))
        return std::nullopt;
    return Step{Step::kIndex, {}, index};
}

/* Returns the steps of a path; none for a text that is no path or is too long. */
std::vector<Step> Parse(std::string_view text) {
    std::vector<Step> steps;
    if (text.size() > kMaxLength)
        return {};
    while (steps.size() < kMaxSteps) {
        const size_t length = std::min(text.find_first_of(".[]\""), text.size());
        if (length == 0)
            return {};
        steps.push_back({Step::kProperty, std::string(text.substr(0, length)), 0});
        text.remove_prefix(length);
        while (steps.size() < kMaxSteps && TakeChar(&text, '[')) {
            std::optional<Step> which = ParseWhich(&text);
            if (!which)
                return {};
            steps.push_back(std::move(*which));
        }
        if (text.empty())
            return steps;
        if (!TakeChar(&text, '.'))
            return {};
    }
    return {};
}

bool IsEmpty(const GValue *value) {
    if (!G_IS_VALUE(value))
        return true;
    if (G_VALUE_HOLDS_STRING(value))
        return g_value_get_string(value) == nullptr;
    return g_value_fits_pointer(value) && g_value_peek_pointer(value) == nullptr;
}

/* Reads a property into a zeroed value, which stays zeroed if the property is empty. */
void ReadProperty(GObject *object, const char *name, GValue *value) {
    const GParamSpec *pspec = g_object_class_find_property(G_OBJECT_GET_CLASS(object), name);
    if (pspec == nullptr || !(pspec->flags & G_PARAM_READABLE))
        return;
    if (pspec->value_type == G_TYPE_VALUE) {
        orvane_object_get_any(object, pspec->name, value);
    } else {
        g_value_init(value, pspec->value_type);
        g_object_get_property(object, pspec->name, value);
    }
    if (IsEmpty(value))
        orvane_value_cond_unset(value);
}

std::string TimeText(const GTimeVal *time) {
    const GTimeVal copy = *time;
    G_GNUC_BEGIN_IGNORE_DEPRECATIONS
    const GPtr<char> text(g_time_val_to_iso8601(const_cast<GTimeVal *>(&copy)));
    G_GNUC_END_IGNORE_DEPRECATIONS
    return text ? text.get() : "";
}

std::string ObjectText(GObject *object) {
    if (SKEMA_IS_QORM_MANAGED_OBJECT(object)) {
        const char *id = SKEMA_QORM_MANAGED_OBJECT(object)->id;
        return id != nullptr ? id : "";
    }
    const char *name = OrvaneType_WireName(G_OBJECT_TYPE(object));
    return name != nullptr ? name : G_OBJECT_TYPE_NAME(object);
}

/* The text of a value that is no list. */
std::string PlainText(const GValue *value) {
    if (IsEmpty(value))
        return {};
    if (G_VALUE_HOLDS_OBJECT(value))
        return ObjectText(static_cast<GObject *>(g_value_get_object(value)));
    if (G_VALUE_HOLDS_BOOLEAN(value))
        return g_value_get_boolean(value) ? "true" : "false";
    if (G_VALUE_HOLDS_ENUM(value)) {
        const TypeClassPtr enumeration(g_type_class_ref(G_VALUE_TYPE(value)));
        const GEnumValue *word =
            g_enum_get_value(static_cast<GEnumClass *>(enumeration.get()), g_value_get_enum(value));
        return word != nullptr ? word->value_nick : std::to_string(g_value_get_enum(value));
    }
    if (G_VALUE_HOLDS_FLOAT(value) || G_VALUE_HOLDS_DOUBLE(value)) {
        const double number = G_VALUE_HOLDS_FLOAT(value) ? double(g_value_get_float(value))
                                                         : g_value_get_double(value);
        char text[G_ASCII_DTOSTR_BUF_SIZE];
        /* the digits that tell one number of the type from the next */
        return g_ascii_formatd(text, sizeof text, G_VALUE_HOLDS_FLOAT(value) ? "%.9g" : "%.17g",
                               number);
    }
    if (G_VALUE_HOLDS(value, G_TYPE_CHAR))
        return std::to_string(g_value_get_schar(value));
    if (G_VALUE_HOLDS(value, ORVANE_TYPE_TIMEVAL))
        return TimeText(static_cast<const GTimeVal *>(g_value_get_boxed(value)));
    if (G_VALUE_HOLDS(value, ORVANE_TYPE_BYTE_ARRAY)) {
        const auto *bytes = static_cast<const GByteArray *>(g_value_get_boxed(value));
        const GPtr<char> text(g_base64_encode(bytes->data, bytes->len));
        return text.get();
    }
    ScopedValue text(G_TYPE_STRING);
    if (!g_value_transform(value, &text.value) || IsEmpty(&text.value))
        return {};
    return g_value_get_string(&text.value);
}

/* What an element of a list is searched by: its key, the id of a managed object, or its own text. */
bool HasKey(const GValue *element, const std::string &key) {
    if (!G_VALUE_HOLDS_OBJECT(element) || IsEmpty(element))
        return !IsEmpty(element) && PlainText(element) == key;
    auto *object = static_cast<GObject *>(g_value_get_object(element));
    if (SKEMA_IS_QORM_MANAGED_OBJECT(object))
        return ObjectText(object) == key;
    ScopedValue own;
    ReadProperty(object, "key", &own.value);
    return !IsEmpty(&own.value) && PlainText(&own.value) == key;
}

class Walk {
public:
    explicit Walk(const std::vector<Step> &path) : steps(path) {
        for (const Step &step : steps)
            isList = isList || step.kind == Step::kAll;
        if (isList)
            list.reset(g_value_array_new(0));
    }

    /* Stores what the path leads to. FALSE if there is nothing, or too much. */
    bool Run(GObject *object, GValue *value) {
        ScopedValue first(G_TYPE_OBJECT);
        g_value_set_object(&first.value, object);
        if (!Follow(&first.value, 0, value) || numElements > kMaxElements)
            return false;
        if (!isList)
            return G_IS_VALUE(value);
        g_value_init(value, G_TYPE_VALUE_ARRAY);
        g_value_take_boxed(value, list.release());
        return true;
    }

private:
    bool Follow(const GValue *from, size_t at, GValue *value);
    bool FollowList(const GValue *from, size_t at, GValue *value);

    const std::vector<Step> &steps;
    bool isList = false;
    ValueArrayPtr list;
    size_t numElements = 0;
};

/* Follows the steps from one on. Nesting is limited by their number. FALSE ends the walk. */
bool Walk::Follow(const GValue *from, size_t at, GValue *value) {
    if (IsEmpty(from))
        return true;
    if (at == steps.size()) {
        if (isList) {
            SchemaArray_MakeRoom(list.get());
            g_value_array_append(list.get(), from);
            return true;
        }
        g_value_init(value, G_VALUE_TYPE(from));
        g_value_copy(from, value);
        return true;
    }
    if (steps[at].kind != Step::kProperty)
        return FollowList(from, at, value);
    if (!G_VALUE_HOLDS_OBJECT(from))
        return true;
    ScopedValue property;
    ReadProperty(static_cast<GObject *>(g_value_get_object(from)), steps[at].text.c_str(),
                 &property.value);
    return Follow(&property.value, at + 1, value);
}

bool Walk::FollowList(const GValue *from, size_t at, GValue *value) {
    if (!G_VALUE_HOLDS(from, G_TYPE_VALUE_ARRAY))
        return true;
    const Step &step = steps[at];
    const auto *array = static_cast<const GValueArray *>(g_value_get_boxed(from));
    const std::span elements(array->values, array->n_values);
    if (step.kind == Step::kIndex)
        return step.index >= elements.size() || Follow(&elements[step.index], at + 1, value);
    for (const GValue &element : elements) {
        if (++numElements > kMaxElements)
            return false;
        if (step.kind == Step::kKey && !HasKey(&element, step.text))
            continue;
        if (!Follow(&element, at + 1, value))
            return false;
        if (step.kind == Step::kKey)
            return true;
    }
    return true;
}

} // namespace

gboolean orvane_object_get_path(GObject *object, const char *path, GValue *value) {
    g_return_val_if_fail(G_IS_OBJECT(object), FALSE);
    g_return_val_if_fail(path != nullptr, FALSE);
    g_return_val_if_fail(value != nullptr && !G_IS_VALUE(value), FALSE);
    const std::vector<Step> steps = Parse(path);
    if (!steps.empty() && Walk(steps).Run(object, value))
        return TRUE;
    orvane_value_cond_unset(value);
    return FALSE;
}

char *orvane_object_get_path_text(GObject *object, const char *path) {
    ScopedValue value;
    if (!orvane_object_get_path(object, path, &value.value))
        return nullptr;
    if (!G_VALUE_HOLDS(&value.value, G_TYPE_VALUE_ARRAY))
        return g_strdup(PlainText(&value.value).c_str());
    const auto *array = static_cast<const GValueArray *>(g_value_get_boxed(&value.value));
    std::string text;
    for (const GValue &element : std::span(array->values, array->n_values))
        text.append(&element == array->values ? "" : ", ").append(PlainText(&element));
    return g_strdup(text.c_str());
}
