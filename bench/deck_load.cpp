// Load on a running `kolvo serve` over real loopback sockets, as phones would put it:
//   - the time from a phone's "setControl" to the "stateUpdate" that shows it, p50 and p99, with
//     one approved phone and with fifty;
//   - the fan-out: how long after the first phone the last one has the same update, and the
//     server's processor time per broadcast;
//   - the idle processor share and resident memory of the host with two phones connected.
// Usage: kolvo_deck_load KOLVO_BINARY [--samples N] [--idle-seconds S]
#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <optional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "deck/protocol/deck_framing.hpp"

namespace {

using Clock = std::chrono::steady_clock;
using namespace kolvo::deck;

struct Phone {
  int fd = -1;
  std::vector<std::uint8_t> buffer;
};

std::string run(const std::string& command) {
  FILE* pipe = ::popen(command.c_str(), "r");
  std::string out;
  char chunk[4096];
  std::size_t n;
  while ((n = std::fread(chunk, 1, sizeof chunk, pipe)) > 0) out.append(chunk, n);
  ::pclose(pipe);
  return out;
}

int connect_to(std::uint16_t port) {
  const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
    std::perror("connect");
    std::exit(1);
  }
  int one = 1;
  ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
  return fd;
}

void send_message(Phone& phone, const KolvoDeckMessage& message) {
  const auto frame = framing::encode_frame(message);
  std::size_t sent = 0;
  while (sent < frame.size()) {
    const auto n = ::send(phone.fd, frame.data() + sent, frame.size() - sent, MSG_NOSIGNAL);
    if (n <= 0) {
      std::perror("send");
      std::exit(1);
    }
    sent += static_cast<std::size_t>(n);
  }
}

// Reads what has arrived on `phone` and hands each message to `seen`.
template <typename Seen>
void drain(Phone& phone, Seen seen) {
  std::uint8_t chunk[65536];
  const auto n = ::recv(phone.fd, chunk, sizeof chunk, MSG_DONTWAIT);
  if (n <= 0) return;
  phone.buffer.insert(phone.buffer.end(), chunk, chunk + n);
  auto result = framing::decode_frames(phone.buffer);
  for (const auto& frame : result.frames) {
    if (frame.message) seen(*frame.message);
  }
}

// Waits until every phone has seen a message `matches` accepts; the time each one saw it.
template <typename Matches>
std::vector<Clock::time_point> await_all(std::vector<Phone>& phones, Matches matches, std::chrono::seconds limit) {
  std::vector<std::optional<Clock::time_point>> when(phones.size());
  const auto deadline = Clock::now() + limit;
  std::vector<pollfd> fds;
  for (const auto& p : phones) fds.push_back({p.fd, POLLIN, 0});
  while (Clock::now() < deadline) {
    if (std::all_of(when.begin(), when.end(), [](const auto& w) { return w.has_value(); })) break;
    ::poll(fds.data(), fds.size(), 50);
    for (std::size_t i = 0; i < phones.size(); ++i) {
      if (!(fds[i].revents & POLLIN)) continue;
      drain(phones[i], [&](const KolvoDeckMessage& m) {
        if (!when[i] && matches(m)) when[i] = Clock::now();
      });
    }
  }
  std::vector<Clock::time_point> out;
  for (const auto& w : when) {
    if (!w) {
      std::cerr << "deck_load: a phone never saw the update\n";
      std::exit(1);
    }
    out.push_back(*w);
  }
  return out;
}

double percentile(std::vector<double> values, double p) {
  std::sort(values.begin(), values.end());
  const auto index = static_cast<std::size_t>(std::ceil(p * static_cast<double>(values.size()))) - 1;
  return values[std::min(index, values.size() - 1)];
}

struct ProcessUse {
  double cpu_seconds = 0;
  long rss_kib = 0;
};

ProcessUse process_use(pid_t pid) {
  ProcessUse use;
  std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
  std::string text((std::istreambuf_iterator<char>(stat)), std::istreambuf_iterator<char>());
  std::istringstream fields(text.substr(text.rfind(')') + 2));
  std::string field;
  long ticks = 0;
  for (int i = 3; fields >> field; ++i) {
    if (i == 14 || i == 15) ticks += std::stol(field);  // utime, stime
    if (i == 15) break;
  }
  use.cpu_seconds = static_cast<double>(ticks) / static_cast<double>(::sysconf(_SC_CLK_TCK));
  std::ifstream status("/proc/" + std::to_string(pid) + "/status");
  for (std::string line; std::getline(status, line);) {
    if (line.rfind("VmRSS:", 0) == 0) use.rss_kib = std::stol(line.substr(6));
  }
  return use;
}

std::vector<Phone> connect_phones(std::uint16_t port, std::size_t count) {
  std::vector<Phone> phones(count);
  for (std::size_t i = 0; i < count; ++i) {
    phones[i].fd = connect_to(port);
    send_message(phones[i], HelloMessage{"LOAD-" + std::to_string(i), "Load " + std::to_string(i), std::nullopt});
  }
  await_all(phones, [](const KolvoDeckMessage& m) { return m.type() == KolvoDeckMessageType::approved; },
            std::chrono::seconds(10));
  return phones;
}

void close_phones(std::vector<Phone>& phones) {
  for (auto& p : phones) ::close(p.fd);
  phones.clear();
}

struct Latency {
  std::vector<double> to_first_ms;  // from the command to the commanding phone's update
  std::vector<double> spread_ms;    // from the first phone's update to the last one's
};

Latency measure(std::vector<Phone>& phones, int samples, int& value_step) {
  Latency out;
  for (int s = 0; s < samples; ++s) {
    const double volume = 0.2 + 0.01 * (value_step++ % 60);
    const auto sent = Clock::now();
    send_message(phones[0], SetControlMessage{std::nullopt, KolvoDeckControl::volume, volume});
    const auto seen = await_all(
        phones,
        [volume](const KolvoDeckMessage& m) {
          const auto* update = m.get_if<StateUpdateMessage>();
          return update && std::abs(update->state->volume - volume) < 1e-6;
        },
        std::chrono::seconds(5));
    out.to_first_ms.push_back(std::chrono::duration<double, std::milli>(seen[0] - sent).count());
    const auto [first, last] = std::minmax_element(seen.begin(), seen.end());
    out.spread_ms.push_back(std::chrono::duration<double, std::milli>(*last - *first).count());
  }
  return out;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    std::cerr << "usage: kolvo_deck_load KOLVO_BINARY [--samples N] [--idle-seconds S]\n";
    return 2;
  }
  const std::string kolvo = argv[1];
  int samples = 100;
  int idle_seconds = 60;
  for (int i = 2; i + 1 < argc; i += 2) {
    if (std::string(argv[i]) == "--samples") samples = std::atoi(argv[i + 1]);
    if (std::string(argv[i]) == "--idle-seconds") idle_seconds = std::atoi(argv[i + 1]);
  }
  const auto home = std::filesystem::temp_directory_path() / ("kolvo-deck-load-" + std::to_string(::getpid()));
  std::filesystem::create_directories(home / "kolvo");
  const std::string env = "XDG_CONFIG_HOME='" + home.string() + "' ";
  // Fifty trusted phones, so each is approved by its hello.
  std::string trusted = "[";
  for (int i = 0; i < 50; ++i) {
    trusted += std::string(i ? "," : "") + "{\"id\":\"LOAD-" + std::to_string(i) + "\",\"name\":\"Load " +
               std::to_string(i) + "\",\"addedAt\":800000000}";
  }
  trusted += "]";
  std::string hex;
  for (const unsigned char c : trusted) {
    char two[3];
    std::snprintf(two, sizeof two, "%02x", c);
    hex += two;
  }
  run(env + "'" + kolvo + "' prefs write com.kolvo.deckEnabled -bool true");
  run(env + "'" + kolvo + "' prefs write com.kolvo.deckTrustedDevices -data " + hex);

  int out_pipe[2];
  if (::pipe(out_pipe) != 0) return 1;
  const pid_t host = ::fork();
  if (host == 0) {
    ::dup2(out_pipe[1], STDOUT_FILENO);
    ::close(out_pipe[0]);
    const int null = ::open("/dev/null", O_RDWR);
    ::dup2(null, STDERR_FILENO);
    ::dup2(null, STDIN_FILENO);
    ::setenv("XDG_CONFIG_HOME", home.c_str(), 1);
    ::execl(kolvo.c_str(), kolvo.c_str(), "serve", "--port", "0", static_cast<char*>(nullptr));
    std::_Exit(127);
  }
  ::close(out_pipe[1]);
  std::uint16_t port = 0;
  {
    FILE* out = ::fdopen(out_pipe[0], "r");
    char line[4096];
    while (port == 0 && std::fgets(line, sizeof line, out)) {
      unsigned value = 0;
      if (std::sscanf(line, "Kolvo Deck listening on port %u", &value) == 1) port = static_cast<std::uint16_t>(value);
    }
    // The host keeps writing; a thread drains it so it never blocks on a full pipe.
    std::thread([out] {
      char sink[4096];
      while (std::fgets(sink, sizeof sink, out)) {
      }
    }).detach();
  }
  if (port == 0) {
    std::cerr << "deck_load: kolvo serve did not start the Deck\n";
    return 1;
  }

  // The idle figure first, from a host that has served nothing else yet.
  auto idle = connect_phones(port, 2);
  std::this_thread::sleep_for(std::chrono::seconds(2));
  const auto start = process_use(host);
  const auto began = Clock::now();
  // The phones read what arrives, as real ones do, while nothing changes.
  while (Clock::now() - began < std::chrono::seconds(idle_seconds)) {
    for (auto& p : idle) drain(p, [](const KolvoDeckMessage&) {});
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
  }
  const auto end = process_use(host);
  const double seconds = std::chrono::duration<double>(Clock::now() - began).count();
  std::printf("idle with 2 phones for %.0f s: %.3f %% of one core, %ld KiB resident\n", seconds,
              100 * (end.cpu_seconds - start.cpu_seconds) / seconds, end.rss_kib);
  close_phones(idle);
  int step = 0;
  for (const std::size_t count : {std::size_t{1}, std::size_t{50}}) {
    auto phones = connect_phones(port, count);
    measure(phones, 5, step);  // warm up
    const auto before = process_use(host);
    const auto latency = measure(phones, samples, step);
    const auto after = process_use(host);
    std::printf("%2zu phone%s: setControl to stateUpdate p50 %.1f ms, p99 %.1f ms", count, count == 1 ? " " : "s",
                percentile(latency.to_first_ms, 0.5), percentile(latency.to_first_ms, 0.99));
    if (count > 1) {
      std::printf("; fan-out first to last phone p50 %.2f ms, p99 %.2f ms", percentile(latency.spread_ms, 0.5),
                  percentile(latency.spread_ms, 0.99));
    }
    std::printf("; host CPU %.2f ms per update\n", 1000 * (after.cpu_seconds - before.cpu_seconds) / samples);
    close_phones(phones);
  }

  ::kill(host, SIGTERM);
  ::waitpid(host, nullptr, 0);
  std::filesystem::remove_all(home);
  return 0;
}
