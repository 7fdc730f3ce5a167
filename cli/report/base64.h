#pragma once

#include <string>

namespace mirvo_cli {

// Standard base64 (RFC 4648, with padding), for data: URIs.
std::string Base64(const std::string& bytes);

}  // namespace mirvo_cli
