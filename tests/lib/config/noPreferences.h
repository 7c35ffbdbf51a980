/*
 * noPreferences.h -- settings of no file, as long as the object lives
 *
 *   const NoPreferences none;
 *   Preference_SetFromString("signal.dontUnmap=TRUE", TRUE);
 */
#pragma once

#include "lib/config/preference.h"

struct NoPreferences {
    NoPreferences() {
        for (int layer = 0; layer < PREFERENCE_NUM_LAYERS; layer++)
            Preference_SetFileName(static_cast<PreferenceLayer>(layer), "");
        Preference_Init();
    }
    ~NoPreferences() { Preference_Exit(); }
    NoPreferences(const NoPreferences &) = delete;
    NoPreferences &operator=(const NoPreferences &) = delete;
};
