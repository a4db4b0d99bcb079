#pragma once

#include <cstdint>

#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

namespace kolvo::catalog {

// One application in a slot.
struct KolvoAppItem {
  std::string id;  // upper-case UUID
  std::string name;
  std::optional<std::string> bundle_identifier;
  std::string app_url;  // "file:///Applications/Safari.app/"

  // The bundle's path, decoded from the URL.
  std::string path() const;

  friend bool operator==(const KolvoAppItem&, const KolvoAppItem&) = default;
};

nlohmann::ordered_json to_json(const KolvoAppItem& item);
// A UUID in any case is accepted and kept upper-case; a URL must be a file URL.
std::optional<KolvoAppItem> app_item_from_json(const nlohmann::json& json, std::string* error = nullptr);

// "file://" + the percent-encoded standardised path, with the trailing "/" of a folder.
std::string file_url(const std::string& path);
// The path of a file URL, or absent when it is not one.
std::optional<std::string> path_of_file_url(const std::string& url);
// "/Applications/../Applications/./Foo.app/" → "/Applications/Foo.app".
std::string standardized_path(const std::string& path);

// An installed application as the system lists it.
struct InstalledApplication {
  std::string path;
  std::optional<std::string> bundle_identifier;
  std::string display_name;  // as the file manager shows it, possibly with ".app"
};

// The installed applications and the bundles they live in.
class ApplicationCatalog {
 public:
  virtual ~ApplicationCatalog() = default;
  // The bundles directly inside each folder, in the folders' order.
  virtual std::vector<InstalledApplication> applications_in(const std::vector<std::string>& folders) const = 0;
  // Where the application with this bundle identifier is installed.
  virtual std::optional<InstalledApplication> application_with_bundle_id(const std::string& bundle_id) const = 0;
  // The bundle at this path, if there is one.
  virtual std::optional<InstalledApplication> application_at(const std::string& path) const = 0;
  // The application's icon drawn at `pixels` × `pixels`, as PNG data; absent when none can be had.
  virtual std::optional<std::vector<std::uint8_t>> icon_png(const InstalledApplication&, int /*pixels*/) const {
    return std::nullopt;
  }
};

// The folders the choosers offer applications from.
const std::vector<std::string>& application_folders();

// An item for the application at `path`: display name without ".app", the bundle's
// identifier, a fresh id. Absent when nothing is installed there.
std::optional<KolvoAppItem> make_app_item(const std::string& path, const ApplicationCatalog& catalog);
KolvoAppItem make_app_item(const InstalledApplication& application);

// Whether the item's application is still installed, by its bundle or its identifier.
bool is_installed(const KolvoAppItem& item, const ApplicationCatalog& catalog);

}  // namespace kolvo::catalog
