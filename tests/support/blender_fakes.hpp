#pragma once

// Blender as the bridge's tests meet it: a fake program on disk, and the port that finds it.
#include <filesystem>
#include <fstream>
#include <mutex>
#include <string>
#include <vector>

#include "blender/blender_ports.hpp"
#include "blender/bridge_addon.hpp"
#include "support/fake_programs.hpp"

namespace kolvo::testing {

// A `blender` that answers --version and Blender's two extension commands as told, appending
// each call's arguments (one to a line, then "--") to arguments.txt beside it. Its "zip" is the
// manifest it was given, and installing copies that into the user folder Blender would use, so
// what ends up there is exactly what Kolvo wrote.
struct FakeBlender {
  enum class Build { writes_zip, hangs, writes_nothing };
  enum class Install { succeeds, fails };

  std::filesystem::path folder;
  // Blender's per-version user folders (~/.config/blender on Linux).
  std::filesystem::path user_files;
  std::string version = "4.2.3";
  Build build = Build::writes_zip;
  Install install = Install::succeeds;

  std::filesystem::path executable() const { return folder / "blender"; }
  std::filesystem::path arguments_file() const { return folder / "arguments.txt"; }
  // Where the extension's manifest lands once installed.
  std::filesystem::path installed_manifest() const {
    return user_files / version.substr(0, version.rfind('.')) / "extensions" / "user_default" /
           std::string(blender::kBridgePackageID) / "blender_manifest.toml";
  }

  // The calls so far, each as its arguments joined by spaces.
  std::vector<std::string> calls() const {
    std::vector<std::string> found;
    std::ifstream in(arguments_file());
    std::string line, call;
    while (std::getline(in, line)) {
      if (line == "--") {
        found.push_back(call);
        call.clear();
      } else {
        call += (call.empty() ? "" : " ") + line;
      }
    }
    return found;
  }

  void write() const {
    const std::string manifest = installed_manifest().string();
    // Its own PATH: the one Kolvo runs under may hold nothing but this fake.
    std::string script = "PATH=/usr/bin:/bin\n";
    script += "{ for a in \"$@\"; do printf '%s\\n' \"$a\"; done; echo --; } >> '" + arguments_file().string() +
              "'\n";
    script += "if [ \"$1\" = --version ]; then printf 'Blender " + version +
              " LTS\\n\\tbuild date: 2024-10-14\\n'; exit 0; fi\n";
    script += "src=; zip=; last=\n"
              "for a in \"$@\"; do last=$a; done\n"
              "while [ $# -gt 0 ]; do\n"
              "  case $1 in --source-dir) src=$2; shift ;; --output-filepath) zip=$2; shift ;; esac\n"
              "  shift\n"
              "done\n";
    script += "if [ -n \"$zip\" ]; then\n  echo \"Building $src\"\n";
    switch (build) {
      case Build::writes_zip: script += "  cat \"$src/blender_manifest.toml\" > \"$zip\" || exit 1\n"; break;
      case Build::hangs: script += "  sleep 30\n"; break;
      case Build::writes_nothing: script += "  echo 'Error: the manifest is not valid' >&2; exit 1\n"; break;
    }
    script += "  exit 0\nfi\n";
    if (install == Install::succeeds) {
      script += "mkdir -p '" + std::filesystem::path(manifest).parent_path().string() + "' && cp \"$last\" '" +
                manifest + "'\n";
    } else {
      script += "echo 'Error: the repository user_default is read-only' >&2; exit 1\n";
    }
    write_script(executable(), script);
  }
};

// Where Blender is and whether it runs, as a test says; launches are told by hand.
class FakeBlenderProcesses final : public blender::BlenderProcesses {
 public:
  std::optional<blender::BlenderApplication> application() const override {
    std::lock_guard lock(mutex_);
    return application_;
  }
  std::vector<std::int32_t> running() const override {
    std::lock_guard lock(mutex_);
    return running_;
  }
  std::unique_ptr<blender::BlenderLaunchObservation> observe_launches(base::Executor&,
                                                                      std::function<void()> changed) override {
    changed_ = std::move(changed);
    return std::make_unique<blender::BlenderLaunchObservation>();
  }

  void set_application(std::optional<blender::BlenderApplication> application) {
    std::lock_guard lock(mutex_);
    application_ = std::move(application);
  }
  void set_running(std::vector<std::int32_t> pids) {
    std::lock_guard lock(mutex_);
    running_ = std::move(pids);
  }
  // Blender started or quit, as the system would tell.
  void launched_or_quit() const {
    if (changed_) changed_();
  }

 private:
  mutable std::mutex mutex_;
  std::optional<blender::BlenderApplication> application_;
  std::vector<std::int32_t> running_;
  std::function<void()> changed_;
};

}  // namespace kolvo::testing
