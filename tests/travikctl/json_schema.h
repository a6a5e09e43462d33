#pragma once

#include <nlohmann/json.hpp>

#include <string>

/// What is wrong with a value by a JSON schema; empty: nothing. Knows the words that travikctl.schema.json uses, and
/// throws at any other.
std::string problemBySchema(const nlohmann::json& value, const nlohmann::json& schema, const nlohmann::json& root);

/// The same by travikctl's own schema.
std::string problemByTravikctlSchema(const nlohmann::json& document);
