#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "deck/server/dns_service_registrar.hpp"

namespace kolvo::platform {

// The name the user gave this machine: PRETTY_HOSTNAME in <root>/etc/machine-info (what
// `hostnamectl set-hostname --pretty` writes), else the host name.
std::optional<std::string> linux_computer_name(const std::filesystem::path& root = "/");

// Registrations through Avahi's dns_sd compatibility library, which reaches avahi-daemon over
// the system D-Bus. `root` stands for "/" when the computer's name is looked up.
deck::DnsServiceRegistrarFactory linux_dns_service_registrar_factory(std::filesystem::path root = "/");

}  // namespace kolvo::platform
