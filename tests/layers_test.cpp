// The layers of src/ as the build links them, lowest first. A file may include its own layer
// and the layers below it; only the platform adapters may include platform code. A folder
// missing from the table fails too, so a new layer has to say where it stands.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

constexpr std::array<std::string_view, 15> kLayers{
    "base", "prefs", "dock", "catalog", "sound", "overlay", "timer", "controls", "deck/protocol", "deck/server",
    "shelf", "blender", "update", "ui", "app",
};

// "deck/protocol/deck_message.hpp" -> "deck/protocol"; "base/json_reader.hpp" -> "base".
std::string layer_of(const std::string& path) {
  const auto first = path.find('/');
  if (first == std::string::npos) return {};
  const std::string top = path.substr(0, first);
  if (top == "deck" || top == "platform") {
    const auto second = path.find('/', first + 1);
    return second == std::string::npos ? top : path.substr(0, second);
  }
  return top;
}

int rank_of(const std::string& layer) {
  const auto found = std::find(kLayers.begin(), kLayers.end(), layer);
  return found == kLayers.end() ? -1 : static_cast<int>(found - kLayers.begin());
}

struct Include {
  std::string file;  // relative to src/
  std::string target;
};

std::vector<Include> includes_under(const fs::path& src) {
  static const std::regex kInclude(R"re(^\s*#\s*(?:include|import)\s*"([^"]+)")re");
  std::vector<Include> found;
  for (const auto& entry : fs::recursive_directory_iterator(src)) {
    const auto ext = entry.path().extension();
    if (!entry.is_regular_file() || (ext != ".hpp" && ext != ".cpp" && ext != ".mm" && ext != ".h")) continue;
    std::ifstream in(entry.path());
    std::string line;
    while (std::getline(in, line)) {
      std::smatch match;
      if (std::regex_search(line, match, kInclude)) {
        found.push_back({fs::relative(entry.path(), src).generic_string(), match[1]});
      }
    }
  }
  return found;
}

// Why an include breaks the layering, or empty when it does not.
std::string fault(const Include& include) {
  const std::string from = layer_of(include.file);
  const std::string to = layer_of(include.target);
  if (include.target.starts_with("apps/")) return "includes the applications";
  if (from.starts_with("platform")) return {};
  if (to.starts_with("platform")) return "includes platform code";
  if (to.empty() || from == to) return {};
  const int from_rank = rank_of(from);
  const int to_rank = rank_of(to);
  if (from_rank < 0) return "is in a folder the layer table does not know";
  if (to_rank < 0) return {};  // a header that is not ours
  if (to_rank > from_rank) return "runs upward, from " + from + " to " + to;
  return {};
}

TEST(Layers, TheRulesCatchWhatTheyShould) {
  struct Case {
    Include include;
    bool allowed;
  };
  const Case cases[] = {
      {{"overlay/hover_monitor.hpp", "dock/rect.hpp"}, true},
      {{"deck/server/deck_settings_stores.hpp", "deck/protocol/deck_message.hpp"}, true},
      {{"deck/protocol/deck_message.hpp", "deck/server/deck_settings_stores.hpp"}, false},
      {{"dock/dock_services.hpp", "app/diagnostics_report.hpp"}, false},
      {{"base/json_reader.hpp", "prefs/preference_store.hpp"}, false},
      {{"ui/activation_texts.hpp", "platform/sim/simulated_overlay.hpp"}, false},
      {{"platform/mac/mac_adapters.hpp", "app/runtime.hpp"}, true},
      {{"app/runtime.hpp", "apps/kolvo/cli.hpp"}, false},
      {{"core/settings.hpp", "base/executor.hpp"}, false},
      {{"update/update_dismissal_store.hpp", "prefs/preference_store.hpp"}, true},
      {{"app/status_menu.hpp", "update/update_check.hpp"}, true},
      {{"update/update_check.hpp", "app/app_ports.hpp"}, false},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(fault(c.include).empty(), c.allowed) << c.include.file << " -> " << c.include.target;
  }
}

TEST(Layers, NoIncludeInTheSourceTreeRunsUpward) {
  const fs::path src = fs::path(KOLVO_SOURCE_DIR) / "src";
  ASSERT_TRUE(fs::is_directory(src)) << src;
  EXPECT_FALSE(fs::exists(src / "core")) << "src/core is retired: its parts belong to their layers";
  const auto includes = includes_under(src);
  ASSERT_GT(includes.size(), 100u) << "the source tree was not read";
  std::ostringstream faults;
  for (const auto& include : includes) {
    if (const auto why = fault(include); !why.empty()) faults << include.file << " -> " << include.target << ": " << why << '\n';
  }
  EXPECT_EQ(faults.str(), "");
}

}  // namespace
