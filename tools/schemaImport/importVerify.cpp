#include "tools/schemaImport/importVerify.h"

#include <algorithm>
#include <charconv>
#include <tuple>

namespace schemaImport {

namespace {

constexpr std::string_view kMark =
    "import:"; /* followed by a number, in place of a file and line */
constexpr gsize kWholeType = G_MAXSIZE;

/* The item of a number in a message. */
struct Item {
    gsize type;
    gsize field = kWholeType;
    gsize method = kWholeType;
    TablePlace place = {}; /* in the documents */
};

/* Returns a copy whose places are numbers of items, from 1. */
SchemaModel Numbered(const SchemaModel &overlay, std::vector<Item> *items) {
    SchemaModel numbered = overlay;
    numbered.files = {"import"};
    const auto number = [&](TablePlace *place, Item item) {
        item.place = *place;
        items->push_back(item);
        *place = {0, static_cast<guint32>(items->size())};
    };
    for (gsize i = 0; i < numbered.types.size(); i++) {
        TableType &type = numbered.types[i];
        number(&type.place, {i});
        for (gsize j = 0; j < type.fields.size(); j++)
            number(&type.fields[j].place, {i, j});
        for (TableWord &word : type.words)
            number(&word.place, {i});
        for (gsize j = 0; j < type.methods.size(); j++) {
            number(&type.methods[j].place, {i, kWholeType, j});
            for (TableArgument &argument : type.methods[j].arguments)
                number(&argument.place, {i, kWholeType, j});
        }
    }
    return numbered;
}

/* Returns the number after the mark, and its end; 0 if there is none. */
gsize NumberAt(const std::string &message, gsize mark, gsize *end) {
    const char *begin = message.data() + mark + kMark.size();
    gsize number = 0;
    const auto result = std::from_chars(begin, message.data() + message.size(), number);
    *end = static_cast<gsize>(result.ptr - message.data());
    return number;
}

/* Replaces the numbers in a message by places in the documents. */
std::string WithPlaces(const SchemaModel &overlay, const std::vector<Item> &items,
                       std::string message) {
    gsize at = 0;
    while ((at = message.find(kMark, at)) != std::string::npos) {
        gsize end = 0;
        const gsize number = NumberAt(message, at, &end);
        if (number == 0 || number > items.size())
            break;
        const TablePlace place = items[number - 1].place;
        const std::string text = overlay.files.empty() ? "" : SchemaPlace_Text(overlay, place);
        message.replace(at, end - at, text);
        at += text.size();
    }
    return message;
}

/* Removes what was refused, from the end, so that the other numbers stay valid. */
void Remove(SchemaModel *overlay, const Item &item) {
    TableType &type = overlay->types[item.type];
    const auto drop = [](auto *list, gsize i) {
        list->erase(list->begin() + static_cast<long>(i));
    };
    if (item.method != kWholeType) {
        drop(&type.methods, item.method);
        if (!type.methods.empty() || !type.fields.empty())
            return;
    } else if (item.field != kWholeType) {
        drop(&type.fields, item.field);
        for (TableField &field : type.fields) {
            if (field.version.empty())
                field.version = type.version;
        }
        type.version.clear();
        type.isPartial = true;
        return;
    }
    drop(&overlay->types, item.type);
}

/* Sorts by type, then by member; a whole type comes before its members, which are then left out. */
auto KeyOf(const Item &item) {
    const bool isWhole = item.field == kWholeType && item.method == kWholeType;
    return std::tuple(item.type, !isWhole, item.field, item.method);
}

struct Refused {
    Item item;
    std::string message;
};

/* Returns false if a message names no item of the overlay, which then cannot be repaired. */
bool RefusedItems(const SchemaModel &overlay, const std::vector<Item> &items,
                  const SchemaErrors &errors, std::vector<Refused> *refused) {
    for (const std::string &message : errors.messages) {
        gsize end = 0;
        const gsize number = message.starts_with(kMark) ? NumberAt(message, 0, &end) : 0;
        if (number == 0 || number > items.size())
            return false;
        const std::string_view text = std::string_view(message).substr(end + 2); // ": "
        refused->push_back({items[number - 1], WithPlaces(overlay, items, std::string(text))});
    }
    return !refused->empty();
}

void RemoveAll(SchemaModel *overlay, std::vector<Refused> refused, Notes *notes) {
    std::ranges::stable_sort(refused, {}, [](const Refused &one) { return KeyOf(one.item); });
    std::vector<Item> unique;
    for (const Refused &one : refused) {
        const TablePlace at = one.item.place;
        notes->push_back(
            {{overlay->files.empty() ? "" : overlay->files[at.file], static_cast<int>(at.line)},
             "left out: " + one.message});
        const bool isCovered =
            !unique.empty() && unique.back().type == one.item.type &&
            (KeyOf(unique.back()) == KeyOf(one.item) ||
             (unique.back().field == kWholeType && unique.back().method == kWholeType));
        if (!isCovered)
            unique.push_back(one.item);
    }
    for (gsize i = unique.size(); i-- > 0;)
        Remove(overlay, unique[i]);
}

} // namespace

void VerifyOverlay(const SchemaModel &shipped, SchemaModel *overlay, Notes *notes) {
    while (!overlay->types.empty()) {
        std::vector<Item> items;
        SchemaModel model = shipped;
        SchemaErrors errors;
        if (SchemaOverlay_Apply(&model, Numbered(*overlay, &items), &errors) &&
            SchemaOverlay_Check(model, &errors))
            return;
        std::vector<Refused> refused;
        if (!RefusedItems(*overlay, items, errors, &refused)) {
            for (const std::string &message : errors.messages)
                notes->push_back(
                    {{"the overlay", 0}, "not written: " + WithPlaces(*overlay, items, message)});
            overlay->types.clear();
            return;
        }
        RemoveAll(overlay, std::move(refused), notes);
    }
}

} // namespace schemaImport
