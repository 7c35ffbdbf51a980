#include "tools/orvane/resultText.h"

#include <string>

#include <orvane/json.h>
#include <orvane/schema/qorm.h>

#include "tools/orvane/failure.h"
#include "tools/orvane/operation.h"
#include "tools/orvane/owners.h"
#include "tools/orvane/settings.h"
#include "tools/orvane/terminal.h"

namespace orvaneCli {

namespace {

std::string JsonOf(const GValue *value, OrvaneJsonFlags flags) {
    GError *error = nullptr;
    return OwnJson(orvane_value_to_json(value, flags, &error), error);
}

bool IsData(const GValue *value) {
    return G_VALUE_HOLDS_OBJECT(value) &&
           !g_type_is_a(G_VALUE_TYPE(value), SKEMA_TYPE_QORM_MANAGED_OBJECT);
}

std::string LineOf(const GValue *value) {
    if (G_VALUE_HOLDS(value, G_TYPE_VALUE) && g_value_get_boxed(value) != nullptr)
        return LineOf(static_cast<const GValue *>(g_value_get_boxed(value)));
    if (IsData(value))
        return JsonOf(value, ORVANE_JSON_INDENTED);
    if (!G_VALUE_HOLDS_BOXED(value))
        return ValueText(value);
    std::string text = JsonOf(value, ORVANE_JSON_COMPACT); /* times, bytes, addresses */
    return text.size() >= 2 && text.starts_with('"') ? text.substr(1, text.size() - 2) : text;
}

const GValueArray *ListOf(const GValue *value) {
    return G_VALUE_HOLDS(value, G_TYPE_VALUE_ARRAY)
               ? static_cast<const GValueArray *>(g_value_get_boxed(value))
               : nullptr;
}

} // namespace

std::string OwnJson(char *json, GError *error) {
    const GPtr<char> text(json);
    if (text)
        return text.get();
    const std::string why = Printable(TakeMessage(error));
    throw Failure(
        Text(MSGID("result.noJson") "the result cannot be written as JSON: %s", why.c_str()));
}

void WriteResult(const GValue *value) {
    const OutputForm form = GetOutputForm();
    const bool isJson = IsJsonWanted();
    if (form == OutputForm::kJson)
        return WriteOutput(JsonOf(value, ORVANE_JSON_INDENTED) + "\n");
    if (!G_IS_VALUE(value))
        return isJson ? WriteOutput("null\n") : void();
    const auto write = [&](const GValue *each) {
        WriteOutput((isJson ? JsonOf(each, ORVANE_JSON_COMPACT) : LineOf(each)) + "\n");
    };
    if (!G_VALUE_HOLDS(value, G_TYPE_VALUE_ARRAY))
        return write(value);
    const GValueArray *list = ListOf(value);
    for (guint i = 0; list != nullptr && i < list->n_values; i++)
        write(&list->values[i]);
}

} // namespace orvaneCli
