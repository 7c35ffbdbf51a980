#include "tools/orvane/timeCell.h"

#include "tools/orvane/jsonText.h"
#include "tools/orvane/owners.h"

namespace orvaneCli {

Cell TimeCell(const std::string &text) {
    if (text.empty())
        return NothingCell();
    const DateTimePtr time(g_date_time_new_from_iso8601(text.c_str(), nullptr));
    if (!time || GetOutputForm() != OutputForm::kTable)
        return TextCell(text);
    const DateTimePtr local(g_date_time_to_local(time.get()));
    const GPtr<char> shown(local ? g_date_time_format(local.get(), "%F %T") : nullptr);
    return shown ? JsonCell(shown.get(), JsonText(text)) : TextCell(text);
}

} // namespace orvaneCli
