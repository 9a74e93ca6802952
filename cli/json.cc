#include "cli/json.h"

#include <nlohmann/json.hpp>

namespace cli {
namespace {

using nlohmann::json;

std::string replaced(const std::string& text, std::string_view what, std::string_view by) {
  std::string result;
  size_t from = 0;
  for (size_t at; (at = text.find(what, from)) != std::string::npos; from = at + what.size()) {
    result.append(text, from, at - from).append(by);
  }
  return result.append(text, from);
}

// What readers of lines may take for the end of one is escaped beyond what JSON asks for.
std::string text_value(std::string_view bytes) {
  std::string value = json(ostren::fenra::text::repaired_utf8(bytes)).dump();
  value = replaced(value, "\u0085", "\\u0085");
  value = replaced(value, "\u2028", "\\u2028");
  return replaced(value, "\u2029", "\\u2029");
}

std::string range_value(const TextRange& range) { return json({range.start, range.end}).dump(); }

// `value_of` gives what is written for an item.
template <typename Items, typename ValueOf>
std::string array_value(const Items& items, ValueOf value_of) {
  std::string values;
  for (const auto& item : items) {
    values += (values.empty() ? "" : ",") + value_of(item);
  }
  return "[" + values + "]";
}

}  // namespace

JsonObject& JsonObject::add(std::string_view name, std::string_view value) {
  members_ += (members_.empty() ? "" : ",") + text_value(name) + ":";
  members_ += value;
  return *this;
}

JsonObject& JsonObject::add_text(std::string_view name, std::string_view bytes) {
  return add(name, text_value(bytes));
}

JsonObject& JsonObject::add_texts(std::string_view name, const std::vector<std::string>& texts) {
  return add(name, array_value(texts, text_value));
}

JsonObject& JsonObject::add_number(std::string_view name, uint64_t number) {
  return add(name, json(number).dump());
}

JsonObject& JsonObject::add_decimal(std::string_view name, double number) {
  return add(name, json(number).dump());
}

JsonObject& JsonObject::add_flag(std::string_view name, bool flag) {
  return add(name, json(flag).dump());
}

JsonObject& JsonObject::add_null(std::string_view name) { return add(name, json().dump()); }

JsonObject& JsonObject::add_object(std::string_view name, const JsonObject& object) {
  return add(name, object.line());
}

JsonObject& JsonObject::add_objects(std::string_view name, const std::vector<JsonObject>& objects) {
  return add(name, array_value(objects, [](const JsonObject& object) { return object.line(); }));
}

JsonObject& JsonObject::add_ranges(std::string_view name, const std::vector<TextRange>& ranges) {
  return add(name, array_value(ranges, range_value));
}

}  // namespace cli
