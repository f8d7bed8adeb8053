#include "answer.h"

#include <nlohmann/json.hpp>

std::string textOf(const nlohmann::ordered_json& document) {
  return document.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + '\n';
}

bool isUtf8(std::string_view bytes) {
  try {
    return !nlohmann::json(bytes).dump().empty();
  } catch (const nlohmann::json::type_error&) {
    return false;
  }
}
