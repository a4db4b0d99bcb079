#include "catalog/app_item.hpp"

#include <sstream>

#include "base/json_reader.hpp"
#include "base/uuid.hpp"

namespace kolvo::catalog {
namespace {

constexpr std::string_view kFileScheme = "file://";

bool is_unreserved_path_character(unsigned char c) {
  return std::isalnum(c) || c == '/' || c == '-' || c == '.' || c == '_' || c == '~' || c == '!' || c == '$' ||
         c == '&' || c == '\'' || c == '(' || c == ')' || c == '*' || c == '+' || c == ',' || c == ';' || c == '=' ||
         c == ':' || c == '@';
}

int hex_digit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

}  // namespace

std::string standardized_path(const std::string& path) {
  std::vector<std::string> parts;
  std::stringstream stream(path);
  std::string part;
  while (std::getline(stream, part, '/')) {
    if (part.empty() || part == ".") continue;
    if (part == "..") {
      if (!parts.empty()) parts.pop_back();
      continue;
    }
    parts.push_back(part);
  }
  std::string out;
  for (const auto& p : parts) out += "/" + p;
  return out.empty() ? "/" : out;
}

std::string file_url(const std::string& path) {
  static constexpr char kHex[] = "0123456789ABCDEF";
  std::string url(kFileScheme);
  for (const unsigned char c : standardized_path(path)) {
    if (is_unreserved_path_character(c)) {
      url += static_cast<char>(c);
    } else {
      url += '%';
      url += kHex[c >> 4];
      url += kHex[c & 15];
    }
  }
  if (url.back() != '/') url += '/';
  return url;
}

std::optional<std::string> path_of_file_url(const std::string& url) {
  if (url.rfind(kFileScheme, 0) != 0) return std::nullopt;
  std::string rest = url.substr(kFileScheme.size());
  if (rest.rfind("localhost/", 0) == 0) rest = rest.substr(9);
  if (rest.empty() || rest.front() != '/') return std::nullopt;
  std::string path;
  for (std::size_t i = 0; i < rest.size(); ++i) {
    if (rest[i] == '%') {
      if (i + 2 >= rest.size()) return std::nullopt;
      const int high = hex_digit(rest[i + 1]);
      const int low = hex_digit(rest[i + 2]);
      if (high < 0 || low < 0) return std::nullopt;
      path += static_cast<char>(high * 16 + low);
      i += 2;
    } else {
      path += rest[i];
    }
  }
  if (path.size() > 1 && path.back() == '/') path.pop_back();
  return path;
}

std::string KolvoAppItem::path() const { return path_of_file_url(app_url).value_or(""); }

nlohmann::ordered_json to_json(const KolvoAppItem& item) {
  nlohmann::ordered_json json;
  json["id"] = item.id;
  json["name"] = item.name;
  if (item.bundle_identifier) json["bundleIdentifier"] = *item.bundle_identifier;
  json["appURL"] = item.app_url;
  return json;
}

std::optional<KolvoAppItem> app_item_from_json(const nlohmann::json& json, std::string* error) {
  base::JsonReader r(json, "KolvoAppItem");
  KolvoAppItem item;
  const std::string id = r.string("id");
  item.name = r.string("name");
  item.bundle_identifier = r.optional_string("bundleIdentifier");
  item.app_url = r.string("appURL");
  if (r.ok()) {
    if (const auto canonical = base::canonical_uuid(id)) {
      item.id = *canonical;
    } else {
      r.fail("id", "not a UUID");
    }
  }
  if (r.ok() && !path_of_file_url(item.app_url)) r.fail("appURL", "not a file URL");
  if (!r.ok()) {
    if (error) *error = r.error();
    return std::nullopt;
  }
  return item;
}

const std::vector<std::string>& application_folders() {
  static const std::vector<std::string> folders = {"/Applications", "/Applications/Utilities", "/System/Applications",
                                                   "/System/Applications/Utilities"};
  return folders;
}

KolvoAppItem make_app_item(const InstalledApplication& application) {
  std::string name = application.display_name;
  for (auto at = name.find(".app"); at != std::string::npos; at = name.find(".app")) name.erase(at, 4);
  return {base::make_uuid(), name, application.bundle_identifier, file_url(application.path)};
}

std::optional<KolvoAppItem> make_app_item(const std::string& path, const ApplicationCatalog& catalog) {
  const auto application = catalog.application_at(standardized_path(path));
  if (!application) return std::nullopt;
  return make_app_item(*application);
}

bool is_installed(const KolvoAppItem& item, const ApplicationCatalog& catalog) {
  if (catalog.application_at(item.path())) return true;
  return item.bundle_identifier && catalog.application_with_bundle_id(*item.bundle_identifier);
}

}  // namespace kolvo::catalog
