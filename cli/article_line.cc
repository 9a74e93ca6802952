#include "cli/article_line.h"

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>

#include "cli/command_line.h"
#include "cli/index_inputs.h"

namespace cli {
namespace {

using nlohmann::json;

// Keeps the texts of the outermost object that have one of the names, and nothing else.
class TextMembers : public json::json_sax_t {
 public:
  bool null() override { return true; }
  bool boolean(bool) override { return true; }
  bool number_integer(number_integer_t) override { return true; }
  bool number_unsigned(number_unsigned_t) override { return true; }
  bool number_float(number_float_t, const string_t&) override { return true; }
  bool binary(binary_t&) override { return true; }
  bool string(string_t& text) override {
    if (depth_ == 1 && is_object_ && wanted_ != nullptr) {
      *wanted_ = std::move(text);
    }
    return true;
  }
  bool start_object(size_t) override {
    is_object_ = is_object_ || depth_ == 0;
    ++depth_;
    return true;
  }
  bool end_object() override {
    --depth_;
    return true;
  }
  bool key(string_t& name) override {
    if (depth_ == 1) {
      const auto found = std::find_if(members_.begin(), members_.end(),
                                      [&](const Member& member) { return name == member.name; });
      wanted_ = found == members_.end() ? nullptr : &found->text;
    }
    return true;
  }
  bool start_array(size_t) override {
    ++depth_;
    return true;
  }
  bool end_array() override {
    --depth_;
    return true;
  }
  bool parse_error(size_t position, const std::string&,
                   const nlohmann::detail::exception&) override {
    error_at_ = position;
    return false;
  }

  bool is_object() const { return is_object_; }
  size_t error_at() const { return error_at_; }
  // Empty when there is none. The name is one of those kept.
  const std::string& text(std::string_view name) const {
    return std::find_if(members_.begin(), members_.end(),
                        [&](const Member& member) { return name == member.name; })
        ->text;
  }

 private:
  struct Member {
    const char* name;
    std::string text;
  };

  size_t depth_ = 0;
  bool is_object_ = false;
  size_t error_at_ = 0;
  std::array<Member, 6> members_ = {
      {{"url", {}}, {"text", {}}, {"html", {}}, {"mime", {}}, {"date", {}}, {"source", {}}}};
  std::string* wanted_ = nullptr;  // the text of the member that comes; null when it is ignored
};

std::string refusal_of(const TextMembers& members) {
  if (!members.is_object()) {
    return "the line is no JSON object";
  }
  if (members.text("url").empty()) {
    return "it has no \"url\"";
  }
  if (members.text("text").empty() == members.text("html").empty()) {
    return "it needs either \"text\" or \"html\"";
  }
  const std::string& mime = members.text("mime");
  if (!mime.empty() && !is_known_mime(mime)) {
    return "unknown MIME type '" + mime + "'; text/plain and text/html are known";
  }
  const std::string& date = members.text("date");
  return date.empty() || is_date(date) ? "" : "the date '" + date + "' is not 8 digits";
}

// JSON is UTF-8, whatever the page said of itself before.
std::string mime_of(const TextMembers& members) {
  const std::string& mime = members.text("mime");
  const bool html = mime.empty() ? !members.text("html").empty() : is_html(mime);
  return html ? "text/html; charset=utf-8" : "text/plain";
}

}  // namespace

Input article_of_line(const std::string& line, const std::string& place,
                      const InputOptions& options) {
  Input input;
  input.name = place;
  TextMembers members;
  if (!json::sax_parse(line, &members)) {
    input.refusal = "the line is not JSON, at its byte " + std::to_string(members.error_at());
    return input;
  }
  input.refusal = refusal_of(members);
  input.bytes = members.text("html").empty() ? members.text("text") : members.text("html");
  input.url = members.text("url");
  input.mime = mime_of(members);
  input.date = members.text("date").empty() ? options.date : members.text("date");
  input.source = members.text("source").empty() ? options.source : members.text("source");
  return input;
}

}  // namespace cli
