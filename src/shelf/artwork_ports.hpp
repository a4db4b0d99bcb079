#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "base/executor.hpp"

// Fetching a cover picture and making the phone's copy of it.
namespace kolvo::shelf {

struct Download {
  // The HTTP status; absent when no answer came (no network, a timeout, a refused address).
  std::optional<int> status;
  std::vector<std::uint8_t> body;
};

class Downloader {
 public:
  virtual ~Downloader() = default;
  // An HTTP GET of `url` that answers from the system's cache when it holds the resource and
  // loads it otherwise. The request gives up after `request_timeout` without data; the caller
  // waits at most `wait` in all. A body longer than `max_bytes` ends the transfer with no
  // answer. Blocks; called from a serial queue.
  virtual Download get(const std::string& url, base::Duration request_timeout, base::Duration wait,
                       std::size_t max_bytes) = 0;
};

class ImageThumbnailer {
 public:
  virtual ~ImageThumbnailer() = default;
  // Decodes `image` (JPEG or PNG at least), turned upright by its orientation, scales it so its
  // larger side is at most `max_side` pixels (never up), and encodes it as JPEG at `quality`
  // (0…1). Absent when the bytes are not an image it can read.
  virtual std::optional<std::vector<std::uint8_t>> jpeg_thumbnail(const std::vector<std::uint8_t>& image,
                                                                  int max_side, double quality) const = 0;
};

}  // namespace kolvo::shelf
