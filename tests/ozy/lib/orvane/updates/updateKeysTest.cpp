#include "ozy/lib/orvane/updates/orvaneUpdateKeys.h"

#include <algorithm>
#include <random>

#include <gtest/gtest.h>

namespace {

using Key = std::optional<UpdateKey>;

/* Few keys, so that many elements have the same one; a text, a number or none. */
Key AnyKey(std::mt19937 *random) {
    const auto number = gint64((*random)() % 7);
    if (number == 0)
        return {};
    return number % 2 == 0 ? UpdateKey{true, 0, std::to_string(number)}
                           : UpdateKey{false, number, {}};
}

TEST(UpdateKeys, FindsTheFirstElementAfterAnyChanges) {
    std::mt19937 random(unsigned(testing::UnitTest::GetInstance()->random_seed()));
    UpdateKeys keys;
    std::vector<std::pair<Key, guint32>> model; /* keys and slots by position */
    for (int step = 0; step < 4000; step++) {
        const Key key = AnyKey(&random);
        const guint at = model.empty() ? 0 : guint(random() % model.size());
        switch (model.size() > 60 ? 1 + random() % 2 : random() % 3) {
        case 0:
            model.emplace_back(key, keys.Append(key));
            break;
        case 1:
            if (model.empty())
                break;
            keys.Remove(at);
            model.erase(model.begin() + at);
            break;
        case 2:
            if (model.empty())
                break;
            keys.Replace(model[at].second, key);
            model[at].first = key;
            break;
        }
        ASSERT_EQ(model.size(), keys.Count());
        for (guint i = 0; i < model.size(); i++) {
            ASSERT_EQ(model[i].second, keys.SlotAt(i));
            ASSERT_EQ(i, keys.PositionOf(model[i].second));
        }
        for (gint64 number = 1; number < 7; number++) {
            const UpdateKey wanted = number % 2 == 0 ? UpdateKey{true, 0, std::to_string(number)}
                                                     : UpdateKey{false, number, {}};
            const auto has = [&](const auto &element) { return element.first == wanted; };
            const auto first = std::ranges::find_if(model, has);
            ASSERT_EQ(first != model.end() ? first - model.begin() : -1, keys.Find(wanted));
            ASSERT_EQ(std::min<std::ptrdiff_t>(std::ranges::count_if(model, has), 2),
                      keys.CountOf(wanted));
        }
    }
}

} // namespace
