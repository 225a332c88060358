#include "Json.h"

#include <nlohmann/json.hpp>

namespace w64 {

bool IsJson(const std::string& text) { return nlohmann::json::accept(text); }

std::string JsonAt(const std::string& text, const std::string& pointer) {
    const auto json = nlohmann::json::parse(text);
    const nlohmann::json::json_pointer at(pointer);
    if (!json.contains(at)) return "";
    const auto& value = json.at(at);
    return value.is_string() ? value.get<std::string>() : value.dump();
}

}  // namespace w64
