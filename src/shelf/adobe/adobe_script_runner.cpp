#include "shelf/adobe/adobe_script_runner.hpp"

#include <system_error>

#include "base/file_io.hpp"
#include "base/number_text.hpp"
#include "base/utf8.hpp"
#include "base/uuid.hpp"

namespace kolvo::shelf {
namespace {

// The Apple Event Manager's answers that mean something to the widgets.
constexpr std::int64_t kProcessNotFound = -600;     // procNotFound
constexpr std::int64_t kConnectionInvalid = -609;   // connectionInvalid: it quit mid-conversation
constexpr std::int64_t kNotPermitted = -1743;       // errAEEventNotPermitted: Automation denied

// A result file larger than this is no answer our scripts give.
constexpr std::size_t kMaxResultBytes = 1 << 20;

void append_hex_byte(std::string& out, unsigned char byte) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  out += kDigits[byte >> 4];
  out += kDigits[byte & 0xF];
}

// The length of a character that AppleScript may take for a line break or a control, at the
// start of `rest`; zero for any other character.
std::size_t line_breaking_character(std::string_view rest) {
  const auto byte = static_cast<unsigned char>(rest[0]);
  if (byte < 0x20 && byte != '\t' && byte != '\n' && byte != '\r') return 1;
  if (rest.substr(0, 2) == "\xC2\x85") return 2;                                 // U+0085 next line
  if (rest.substr(0, 3) == "\xE2\x80\xA8" || rest.substr(0, 3) == "\xE2\x80\xA9") return 3;  // U+2028, U+2029
  return 0;
}

// The path as a JavaScript single-quoted literal's inside, for ExtendScript's File, which reads
// %XX as an escaped byte.
std::string extendscript_path(const std::string& path) {
  std::string out;
  for (const char c : path) {
    if (c == '\\' || c == '\'') out += '\\';
    if (c == '%') {
      out += "%25";
      continue;
    }
    out += c;
  }
  return out;
}

}  // namespace

AdobeScriptRunner::AdobeScriptRunner(std::shared_ptr<ScriptRunner> apple_events, std::filesystem::path temp_directory)
    : apple_events_(std::move(apple_events)), temp_directory_(std::move(temp_directory)) {}

std::string AdobeScriptRunner::escape(std::string_view javascript) {
  // Backslashes first, then quotation marks: the two escapes AppleScript requires, done in one
  // pass so that neither is escaped twice. Line feeds, returns and tabs take AppleScript's own
  // escapes, so the script stays on one line of AppleScript and each reaches the JavaScript
  // exactly. AppleScript has no escape for any other character, and one it might read as a line
  // break (U+2028, U+2029, U+0085, a control) must not stand raw in the literal: the literal is
  // closed there and the character joined on, made from its UTF-8 bytes, which AppleScript
  // converts itself without asking the application.
  std::string out;
  out.reserve(javascript.size() + javascript.size() / 8);
  for (std::size_t i = 0; i < javascript.size();) {
    const char c = javascript[i];
    if (const std::size_t length = line_breaking_character(javascript.substr(i))) {
      out += "\" & (\xC2\xAB" "data utf8";
      for (std::size_t k = 0; k < length; ++k) append_hex_byte(out, static_cast<unsigned char>(javascript[i + k]));
      out += "\xC2\xBB as text) & \"";
      i += length;
      continue;
    }
    switch (c) {
      case '\\': out += "\\\\"; break;
      case '"': out += "\\\""; break;
      case '\n': out += "\\n"; break;
      case '\r': out += "\\r"; break;
      case '\t': out += "\\t"; break;
      default: out += c; break;
    }
    ++i;
  }
  return out;
}

std::string AdobeScriptRunner::apple_script(std::string_view bundle_id, std::string_view command,
                                            std::string_view javascript, int timeout_seconds) {
  return "with timeout of " + std::to_string(timeout_seconds) + " seconds\n  tell application id \"" +
         escape(bundle_id) + "\" to " + std::string(command) + " \"" + escape(javascript) + "\"\nend timeout";
}

std::string AdobeScriptRunner::cache_key(std::string_view bundle_id, int timeout_seconds, std::string_view javascript) {
  return std::string(bundle_id) + "|" + std::to_string(timeout_seconds) + "|" + std::string(javascript);
}

AdobeScriptRunner::Outcome AdobeScriptRunner::outcome_of(const ScriptRun& run) {
  switch (run.status) {
    case ScriptRun::Status::did_not_compile: return Failed{std::string(kCouldNotCompile)};
    case ScriptRun::Status::failed:
      if (run.error_number == kProcessNotFound || run.error_number == kConnectionInvalid) return NotRunning{};
      if (run.error_number == kNotPermitted) return AutomationDenied{};
      return Failed{std::to_string(run.error_number) + " " +
                    (run.error_message && !run.error_message->empty() ? *run.error_message : std::string("unknown"))};
    case ScriptRun::Status::ran: break;
  }
  if (run.result.text) return Success{run.result.text};
  if (run.result.number) return Success{base::shortest_real_text(*run.result.number)};
  return Success{std::nullopt};
}

AdobeScriptRunner::Outcome AdobeScriptRunner::run(std::string_view bundle_id, std::string_view javascript,
                                                  int timeout_seconds, Text text) const {
  // Text that is not UTF-8 cannot become an AppleScript at all.
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(javascript.data());
  if (!apple_events_ || !base::is_valid_utf8(bytes, javascript.size())) return Failed{std::string(kCouldNotCompile)};
  const std::string source = apple_script(bundle_id, "do javascript", javascript, timeout_seconds);
  const std::optional<std::string> key =
      text == Text::fixed ? std::optional(cache_key(bundle_id, timeout_seconds, javascript)) : std::nullopt;
  return outcome_of(apple_events_->run_script(source, key));
}

std::string AdobeScriptRunner::after_effects_script(const std::filesystem::path& path, std::string_view body) {
  std::string script = "var __out=new File('" + extendscript_path(path.string()) + "');__out.encoding='UTF-8';";
  script += body;
  // The ending must start a statement of its own.
  if (!body.empty() && body.back() != ';' && body.back() != '}' && body.back() != '\n') script += ';';
  script += "__out.lineFeed='Unix';if(__out.open('w')){__out.write(L.join('\\n')+'\\n');__out.close();}";
  return script;
}

std::optional<std::filesystem::path> AdobeScriptRunner::result_path() const {
  std::error_code error;
  std::filesystem::path folder = temp_directory_.empty() ? std::filesystem::temp_directory_path(error) : temp_directory_;
  if (error || folder.empty()) return std::nullopt;
  folder = std::filesystem::absolute(folder, error);
  if (error || !std::filesystem::is_directory(folder, error)) return std::nullopt;
  const std::filesystem::path path = folder / (std::string(kResultFilePrefix) + "-" + base::make_uuid() + ".txt");
  // A line break or a control in a folder's name could not be handed to After Effects intact.
  const std::string text = path.string();
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(text.data());
  if (!base::is_valid_utf8(bytes, text.size())) return std::nullopt;
  for (const char c : text) {
    if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) return std::nullopt;
  }
  return path;
}

AdobeScriptRunner::Outcome AdobeScriptRunner::run_in_after_effects(std::string_view bundle_id,
                                                                   std::string_view javascript,
                                                                   int timeout_seconds) const {
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(javascript.data());
  if (!apple_events_ || !base::is_valid_utf8(bytes, javascript.size())) return Failed{std::string(kCouldNotCompile)};
  const auto path = result_path();
  if (!path) return Failed{std::string(kUnusableTempPath)};
  // Each run names its own file, so the script's text is new every time and never cached.
  const std::string source =
      apple_script(bundle_id, "DoScript", after_effects_script(*path, javascript), timeout_seconds);
  Outcome outcome = outcome_of(apple_events_->run_script(source, std::nullopt));
  if (std::holds_alternative<Success>(outcome)) {
    const base::FileRead read = base::read_whole_file(*path, kMaxResultBytes);
    if (!read.exists) {
      outcome = Failed{std::string(kNoResultFile)};
    } else if (!read.ok()) {
      outcome = Failed{"After Effects' result file could not be read: " + read.problem};
    } else {
      std::string text = base::repaired_utf8(read.text);
      // The script ends every line with a line feed, the last one too.
      if (!text.empty() && text.back() == '\n') text.pop_back();
      outcome = Success{std::move(text)};
    }
  }
  // Whatever came of it, nothing is left behind in the temporary folder.
  std::error_code ignored;
  std::filesystem::remove(*path, ignored);
  return outcome;
}

std::string describe(const AdobeScriptRunner::Outcome& outcome) {
  using R = AdobeScriptRunner;
  if (const auto* success = std::get_if<R::Success>(&outcome)) {
    return success->text ? "success(\"" + *success->text + "\")" : "success";
  }
  if (const auto* failed = std::get_if<R::Failed>(&outcome)) return "failed(\"" + failed->message + "\")";
  if (std::holds_alternative<R::AutomationDenied>(outcome)) return "automationDenied";
  return "notRunning";
}

}  // namespace kolvo::shelf
