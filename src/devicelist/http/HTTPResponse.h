#pragma once

#include <string>
#include <utility>

#include "devicelist/http/HeaderFields.h"

namespace DeviceList {

/// What a server said beside the body: its status and its header.
struct HTTPResponse {
  long statusCode = 0;           ///< of the last response: 200, 304, 404 ...
  HeaderFields allHeaderFields;  ///< of the last response, trailers not included
};

/// The body's bytes (decoded, at most 1 MiB) and the response they came with.
using HTTPAnswer = std::pair<std::string, HTTPResponse>;

}  // namespace DeviceList
