/*
 * basicHttpPtr.h -- owners for requests, responses, and what libcurl's URL parser returns
 *
 *   RequestPtr request(BasicHttp_CreateRequest(...));
 *   CurlUrlPtr url(curl_url());
 *
 * Leave by .release() to hand the thing on.
 */
#pragma once

#include <memory>

#include <curl/curl.h>

#include "apps/lib/basicHttp/basicHttp.h"
#include "lib/misc/glibPtr.h"

using RequestPtr = std::unique_ptr<BasicHttpRequest, Release<BasicHttp_FreeRequest>>;
using ResponsePtr = std::unique_ptr<BasicHttpResponse, Release<BasicHttp_FreeResponse>>;
using CurlUrlPtr = std::unique_ptr<CURLU, Release<curl_url_cleanup>>;
using CurlTextPtr = std::unique_ptr<char, Release<curl_free>>;
