#include "blender/blender_bridge_install.hpp"

#include <charconv>
#include <system_error>

#include "base/file_io.hpp"
#include "base/uuid.hpp"
#include "blender/bridge_addon.hpp"

namespace kolvo::blender {
namespace fs = std::filesystem;

namespace {

std::string_view trimmed(std::string_view text) {
  constexpr std::string_view kBlank = " \t\r\n";
  const auto first = text.find_first_not_of(kBlank);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlank) - first + 1);
}

// Calls `line` with each line of `text` until it returns false.
template <typename Visit>
void for_each_line(std::string_view text, Visit line) {
  while (!text.empty()) {
    const auto end = text.find('\n');
    if (!line(text.substr(0, end))) return;
    if (end == std::string_view::npos) return;
    text.remove_prefix(end + 1);
  }
}

bool is_digit(char c) { return c >= '0' && c <= '9'; }

}  // namespace

std::string InstallError::text() const {
  if (const auto* failed = std::get_if<Failed>(&reason_)) return failed->message;
  return std::string(std::holds_alternative<BlenderRunning>(reason_) ? kBlenderRunningText : kBlenderNotFoundText);
}

std::optional<std::string> blender_version_prefix(std::string_view version) {
  // Empty parts are passed over, as "4..2" still names the 4.2 series.
  std::vector<std::string_view> parts;
  for (std::size_t start = 0; start <= version.size() && parts.size() < 2;) {
    const auto dot = version.find('.', start);
    const auto part = version.substr(start, dot == std::string_view::npos ? std::string_view::npos : dot - start);
    if (!part.empty()) parts.push_back(part);
    if (dot == std::string_view::npos) break;
    start = dot + 1;
  }
  if (parts.size() < 2) return std::nullopt;
  return std::string(parts[0]) + "." + std::string(parts[1]);
}

std::optional<std::string> blender_version_from_output(std::string_view output) {
  constexpr std::string_view kName = "Blender ";
  std::optional<std::string> found;
  for_each_line(output, [&](std::string_view line) {
    line = trimmed(line);
    if (!line.starts_with(kName)) return true;
    line.remove_prefix(kName.size());
    std::size_t end = 0;
    while (end < line.size() && (is_digit(line[end]) || line[end] == '.')) ++end;
    std::string_view version = line.substr(0, end);
    while (version.ends_with('.')) version.remove_suffix(1);
    if (version.empty() || !is_digit(version.front())) return true;
    found = std::string(version);
    return false;
  });
  return found;
}

std::optional<std::string> manifest_version(std::string_view manifest) {
  std::optional<std::string> found;
  for_each_line(manifest, [&](std::string_view line) {
    line = trimmed(line);
    // A table's header ends the top level, where the extension's own keys are.
    if (line.starts_with('[')) return false;
    const auto equals = line.find('=');
    if (line.starts_with('#') || equals == std::string_view::npos || trimmed(line.substr(0, equals)) != "version") {
      return true;
    }
    std::string_view value = trimmed(line.substr(equals + 1));
    if (!value.empty() && (value.front() == '"' || value.front() == '\'')) {
      const auto close = value.find(value.front(), 1);
      if (close == std::string_view::npos) return false;
      found = std::string(value.substr(1, close - 1));
      return false;
    }
    // Not a string, which Blender would not accept either; it is reported as written.
    value = trimmed(value.substr(0, value.find('#')));
    if (!value.empty()) found = std::string(value);
    return false;
  });
  return found;
}

fs::path installed_manifest_path(const BlenderPaths& paths, std::string_view version_prefix) {
  return paths.blender_user_files / fs::path(version_prefix) / "extensions" / "user_default" /
         fs::path(kBridgePackageID) / "blender_manifest.toml";
}

std::optional<std::string> installed_version(const BlenderPaths& paths, std::string_view version_prefix) {
  const base::FileRead read = base::read_whole_file(installed_manifest_path(paths, version_prefix), kMaxManifestBytes);
  if (!read.ok()) return std::nullopt;
  return manifest_version(read.text);
}

std::optional<std::string> installed_version(const BlenderPaths& paths, const BlenderApplication& blender) {
  const auto series = blender.version ? blender_version_prefix(*blender.version) : std::nullopt;
  if (!series) return std::nullopt;
  return installed_version(paths, *series);
}

std::optional<std::string> installed_version(const BlenderBridgeInstallPorts& ports) {
  const auto blender = ports.blender->application();
  if (!blender) return std::nullopt;
  return installed_version(ports.paths, *blender);
}

namespace {

// The extension's source folder, written afresh: its two files, each whole or not at all.
// Returns the system's reason on failure.
std::string prepare_source(const fs::path& source) {
  std::error_code error;
  fs::create_directories(source, error);
  if (error) return error.message();
  for (const auto& [name, text] : {std::pair{"blender_manifest.toml", bridge_manifest_text()},
                                   std::pair{"__init__.py", bridge_module_text()}}) {
    const std::string problem = base::write_file_atomically(source / name, text, 0644);
    if (!problem.empty()) return problem;
  }
  return {};
}

}  // namespace

namespace {

// Whether a version ("3.4.1") is older than 4.2; one that cannot be read is given the benefit
// of the doubt, and Blender's own answer decides.
bool predates_extensions(std::string_view version) {
  int major = 0, minor = 0;
  const char* const end = version.data() + version.size();
  auto [after_major, major_error] = std::from_chars(version.data(), end, major);
  if (major_error != std::errc{}) return false;
  if (after_major != end && *after_major == '.') std::from_chars(after_major + 1, end, minor);
  return major < 4 || (major == 4 && minor < 2);
}

}  // namespace

InstallResult install_blender_bridge(const BlenderBridgeInstallPorts& ports, base::Duration watchdog,
                                     const std::function<void(const InstallProgress&)>& progress) {
  InstallResult result;
  // Blender reads its add-on preferences at start and writes them at quit: an extension
  // enabled behind a running Blender's back would be forgotten. This is asked first because
  // finding Blender may itself run it (Linux asks Blender for its version), and nothing is
  // started while Blender runs.
  if (!ports.blender->running().empty()) return {InstallError::blender_running(), {}, {}};
  const auto blender = ports.blender->application();
  if (!blender) return {InstallError::blender_not_found(), {}, {}};
  if (blender->version && predates_extensions(*blender->version)) {
    return {InstallError::failed(std::string(kTooOldTextStart) + *blender->version + "."), {}, {}};
  }

  result.work_folder = ports.paths.temporary / ("kolvo-blender-bridge-" + base::make_uuid());
  const fs::path source = result.work_folder / std::string(kBridgePackageID);
  const fs::path package =
      result.work_folder / (std::string(kBridgePackageID) + "-" + std::string(kBridgeVersion) + ".zip");
  if (const std::string problem = prepare_source(source); !problem.empty()) {
    result.error = InstallError::failed(std::string(kPrepareFailedText) + problem + ".");
    return result;
  }

  const auto run = [&](InstallProgress::Step step, std::vector<std::string> arguments) {
    if (progress) progress({step, blender->executable});
    auto outcome = ports.command_line->run_process({.executable = blender->executable.string(),
                                                    .arguments = std::move(arguments),
                                                    .output = controls::ProcessRequest::Output::joined,
                                                    .watchdog = watchdog});
    result.blender_output = outcome.output;
    return outcome;
  };

  const auto built = run(InstallProgress::Step::building,
                         {"--factory-startup", "--command", "extension", "build", "--source-dir", source.string(),
                          "--output-filepath", package.string()});
  if (!built.launched) {
    result.error = InstallError::failed(built.launch_error);
    return result;
  }
  std::error_code error;
  // A build stopped by the watchdog may have left part of a package behind.
  if (built.timed_out || !fs::is_regular_file(package, error)) {
    result.error = InstallError::failed(std::string(kBuildFailedText));
    return result;
  }

  const auto installed = run(InstallProgress::Step::installing, {"--command", "extension", "install-file", "-r",
                                                                 "user_default", "--enable", package.string()});
  if (!installed.launched) {
    result.error = InstallError::failed(installed.launch_error);
  } else if (installed.exit_status != 0 || installed.timed_out) {
    result.error = InstallError::failed(std::string(kInstallFailedText));
  }
  return result;
}

BlenderBridge::BlenderBridge(BlenderBridgeInstallPorts ports, base::Executor& main, base::Duration watchdog)
    : ports_(std::move(ports)), main_(main), watchdog_(watchdog), queue_("com.kolvo.blender-bridge", main) {}

BlenderBridge::~BlenderBridge() = default;

void BlenderBridge::install(std::function<void(const InstallProgress&)> progress,
                            std::function<void(InstallResult)> done) {
  std::weak_ptr<bool> alive = alive_;
  base::Executor* main = &main_;
  auto tell = [progress = std::move(progress), alive, main](const InstallProgress& step) {
    if (!progress) return;
    main->post([progress, alive, step] {
      if (alive.lock()) progress(step);
    });
  };
  queue_.async([ports = ports_, watchdog = watchdog_, tell = std::move(tell)] {
                 return install_blender_bridge(ports, watchdog, tell);
               },
               std::move(done));
}

}  // namespace kolvo::blender
