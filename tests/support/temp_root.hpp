#pragma once

#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <string_view>

namespace kolvo::testing {

// A folder of real files standing in for "/" (its proc, sys and etc), removed at the end.
class TempRoot {
 public:
  explicit TempRoot(std::string_view purpose) {
    std::random_device random;
    path_ = std::filesystem::temp_directory_path() /
            ("kolvo-" + std::string(purpose) + "-" + std::to_string(random()) + std::to_string(random()));
    std::filesystem::create_directories(path_);
  }
  ~TempRoot() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TempRoot(const TempRoot&) = delete;
  TempRoot& operator=(const TempRoot&) = delete;

  const std::filesystem::path& path() const { return path_; }

  // Writes `text` at `relative`, creating the folders on the way.
  void write(const std::filesystem::path& relative, std::string_view text) const {
    const auto file = path_ / relative;
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary).write(text.data(), static_cast<std::streamsize>(text.size()));
  }
  void remove(const std::filesystem::path& relative) const { std::filesystem::remove_all(path_ / relative); }

 private:
  std::filesystem::path path_;
};

}  // namespace kolvo::testing
