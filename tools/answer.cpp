#include "answer.h"

#include <nlohmann/json.hpp>

std::string textOf(const nlohmann::ordered_json& document) {
  return document.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + '\n';
}
