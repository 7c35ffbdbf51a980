/*
 * sessionOwners.h -- owners for what the sources of a session hold in passing
 */
#pragma once

#include "lib/misc/glibPtr.h"
#include "ozy/lib/orvane/session/orvaneSessionInt.h"

using RequestPtr = std::unique_ptr<BasicHttpRequest, Release<BasicHttp_FreeRequest>>;
using ResponsePtr = std::unique_ptr<BasicHttpResponse, Release<BasicHttp_FreeResponse>>;
using ParamsPtr = std::unique_ptr<OrvaneCnxParams, Release<orvane_session_destroy_cnxparams>>;
using ListenerPtr = ObjectPtr<OrvaneListener>;
