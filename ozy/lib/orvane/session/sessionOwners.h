/*
 * sessionOwners.h -- owners for what the sources of a session hold in passing
 */
#pragma once

#include "apps/lib/basicHttp/basicHttpPtr.h"
#include "ozy/lib/orvane/session/orvaneSessionInt.h"

using ParamsPtr = std::unique_ptr<OrvaneCnxParams, Release<orvane_session_destroy_cnxparams>>;
using ListenerPtr = ObjectPtr<OrvaneListener>;
