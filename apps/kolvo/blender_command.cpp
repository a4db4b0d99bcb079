#include <iostream>

#include <nlohmann/json.hpp>

#include "base/asio_main_loop.hpp"
#include "blender/blender_bridge_install.hpp"
#include "blender/blender_bridge_section.hpp"
#include "blender/bridge_addon.hpp"
#include "cli.hpp"
#include "host_runtime.hpp"

// `kolvo blender install` is the settings' "Install Blender Bridge" button for a shell, and
// `kolvo blender status` the section's line with what it is made from. No bridge client runs in
// this process, so the line is the one shown while no Blender widget is on the Shelf.
namespace kolvo::host {
namespace {

blender::BlenderBridgeInstallPorts install_ports(const app::PlatformPorts& ports) {
  return {.blender = ports.blender, .command_line = ports.blender_command_line, .paths = ports.blender_paths};
}

void print_blender_output(const std::string& output) {
  if (output.empty()) return;
  std::cerr << "Blender said:\n";
  std::size_t start = 0;
  while (start < output.size()) {
    const auto end = output.find('\n', start);
    std::cerr << "  " << output.substr(start, end == std::string::npos ? std::string::npos : end - start) << '\n';
    if (end == std::string::npos) break;
    start = end + 1;
  }
}

int install(const blender::BlenderBridgeInstallPorts& ports) {
  base::AsioMainLoop loop;
  std::optional<blender::InstallResult> result;
  {
    blender::BlenderBridge bridge(ports, loop);
    bridge.install(
        [](const blender::InstallProgress& progress) {
          if (progress.step == blender::InstallProgress::Step::building) {
            std::cout << "Building the extension with " << progress.executable.string() << "…" << std::endl;
          } else {
            std::cout << "Installing and enabling it…" << std::endl;
          }
        },
        [&](blender::InstallResult done) {
          result = std::move(done);
          loop.stop();
        });
    loop.run();
  }
  if (result->error) {
    const int code = fail(kExitFailure, result->error->text());
    print_blender_output(result->blender_output);
    return code;
  }
  std::cout << blender::kInstalledNote << '\n';
  if (const auto blender = ports.blender->application()) {
    if (const auto series = blender->version ? blender::blender_version_prefix(*blender->version) : std::nullopt) {
      const auto installed = blender::installed_version(ports.paths, *series);
      std::cout << "Extension: " << blender::installed_manifest_path(ports.paths, *series).parent_path().string()
                << (installed ? " (version " + *installed + ")" : std::string(" (not found there)")) << '\n';
    }
  }
  return 0;
}

int print_status(const blender::BlenderBridgeInstallPorts& ports, bool json) {
  const auto application = ports.blender->application();
  const auto running = ports.blender->running();
  const auto series =
      application && application->version ? blender::blender_version_prefix(*application->version) : std::nullopt;
  const std::optional<std::filesystem::path> manifest =
      series ? std::optional(blender::installed_manifest_path(ports.paths, *series)) : std::nullopt;
  const std::optional<std::string> installed =
      series ? blender::installed_version(ports.paths, *series) : std::nullopt;
  const blender::BridgeSectionFacts facts{.blender_found = application.has_value(),
                                          .blender_running = application.has_value() && !running.empty(),
                                          .installed_version = installed,
                                          .client = std::nullopt};
  const std::string line(blender::bridge_status_line(facts));
  if (json) {
    using Json = nlohmann::ordered_json;
    Json out;
    out["status"] = line;
    if (application) {
      out["blender"] = {{"executable", application->executable.string()},
                        {"version", application->version ? Json(*application->version) : Json(nullptr)}};
    } else {
      out["blender"] = nullptr;
    }
    out["running"] = running;
    out["installedVersion"] = installed ? Json(*installed) : Json(nullptr);
    out["manifest"] = manifest ? Json(manifest->string()) : Json(nullptr);
    out["bundledVersion"] = blender::kBridgeVersion;
    // Paths are the machine's own bytes, which need not be UTF-8.
    std::cout << out.dump(2, ' ', false, Json::error_handler_t::replace) << '\n';
    return 0;
  }
  std::cout << "Blender Bridge: " << line << '\n';
  if (!application) {
    std::cout << "Blender: not found\n";
  } else {
    std::cout << "Blender: " << application->executable.string() << " ("
              << (application->version ? "version " + *application->version : std::string("version unknown"))
              << (running.empty() ? "" : ", running") << ")\n";
  }
  std::cout << "Installed version: " << (installed ? *installed : std::string("none"))
            << " (this Kolvo carries " << blender::kBridgeVersion << ")\n";
  if (manifest) std::cout << "Manifest: " << manifest->string() << '\n';
  return 0;
}

}  // namespace

int run_blender(Arguments arguments) {
  constexpr std::string_view kUsage = "'kolvo blender' takes install, or status [--json].";
  const bool json = take_flag(arguments, "--json");
  if (arguments.size() != 1) return fail(kExitUsage, kUsage);
  const std::string verb = arguments.front();
  if (verb != "install" && verb != "status") return fail(kExitUsage, kUsage);
  if (verb == "install" && json) return fail(kExitUsage, "'kolvo blender install' takes no options.");
  // The ports alone: Blender, its folders and a way to run it are all these need.
  auto made = platform::make_host_ports(host_identity(), {});
  if (!made.ports) return fail(kExitFailure, made.error);
  if (!made.ports->blender || !made.ports->blender_command_line) {
    return fail(kExitFailure, "Blender cannot be looked for on this machine.");
  }
  const auto ports = install_ports(*made.ports);
  if (verb == "install") return install(ports);
  return print_status(ports, json);
}

}  // namespace kolvo::host
