#include "cli/arguments.h"

#include <algorithm>
#include <charconv>

namespace cli {
namespace {

constexpr char kShield = '\x01';

// Shielding what begins with the shield makes taking it off exact.
bool needs_shield(const std::string& text) {
  return text == "++" || (!text.empty() &&
                          (text.front() == kShield || (text.front() == '[' && text.back() == ']')));
}

std::string without_shield(const std::string& text) {
  return !text.empty() && text.front() == kShield ? text.substr(1) : text;
}

bool is_digit(char byte) { return byte >= '0' && byte <= '9'; }

// An option whose text `take` accepts or, with a message, refuses.
template <typename Take>
CLI::Option* add_taken(CLI::App& app, const std::string& name, const std::string& description,
                       const std::string& type, Take take) {
  return app
      .add_option(
          name,
          [take](const CLI::results_t& texts) {
            take(without_shield(texts.back()));
            return true;
          },
          description)
      ->type_name(type)
      ->expected(1);
}

}  // namespace

std::vector<std::string> shield_arguments(int argc, char** argv) {
  std::vector<std::string> arguments(argv + std::min(argc, 1), argv + argc);
  for (std::string& argument : arguments) {
    if (needs_shield(argument)) {
      argument.insert(argument.begin(), kShield);
    }
  }
  std::reverse(arguments.begin(), arguments.end());
  return arguments;
}

std::string without_shields(std::string message) {
  message.erase(std::remove(message.begin(), message.end(), kShield), message.end());
  return message;
}

CLI::Option* add_text(CLI::App& app, const std::string& name, std::string& target,
                      const std::string& description) {
  return add_taken(app, name, description, "TEXT",
                   [&target](const std::string& text) { target = text; });
}

CLI::Option* add_texts(CLI::App& app, const std::string& name, std::vector<std::string>& target,
                       const std::string& description) {
  return app
      .add_option(
          name,
          [&target](const CLI::results_t& texts) {
            target.clear();
            std::transform(texts.begin(), texts.end(), std::back_inserter(target), without_shield);
            return true;
          },
          description)
      ->type_name("TEXT")
      ->expected(1, CLI::detail::expected_max_vector_size)
      ->allow_extra_args();
}

CLI::Option* add_count(CLI::App& app, const std::string& name, uint64_t& target,
                       const std::string& description) {
  return add_taken(app, name, description, "N", [&target, name](const std::string& text) {
    const char* end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, target);
    if (result.ec != std::errc() || result.ptr != end || target == 0) {
      throw CLI::ValidationError(name, "'" + text + "' is not a number of at least 1");
    }
  });
}

CLI::Option* add_date(CLI::App& app, const std::string& name, std::string& target,
                      const std::string& description) {
  return add_taken(app, name, description, "YYYYMMDD", [&target, name](const std::string& text) {
    if (!is_date(text)) {
      throw CLI::ValidationError(name, "'" + text + "' is not a date of 8 digits, as 20090315");
    }
    target = text;
  });
}

bool is_date(const std::string& text) {
  return text.size() == 8 && std::all_of(text.begin(), text.end(), is_digit);
}

}  // namespace cli
