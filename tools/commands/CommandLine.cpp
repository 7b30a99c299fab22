#include "tools/commands/CommandLine.h"

#include <CLI/CLI.hpp>
#include <cstdint>
#include <optional>
#include <utility>

namespace {

std::string RefuseEmpty(const std::string& text) {
  return text.empty() ? "an empty value is no number" : "";
}

}  // namespace

CLI::App* AddCommand(CLI::App& parent, const std::string& name, const std::string& description) {
  return parent.add_subcommand(name, description);
}

void RequireCommand(CLI::App& command) {
  command.require_subcommand(1);
}

void WhenGiven(CLI::App& command, std::function<void()> function) {
  command.callback(std::move(function));
}

void AddArgument(CLI::App& command, const std::string& name, std::string& value,
                 const std::string& description) {
  command.add_option(name, value, description);
}

void AddArgument(CLI::App& command, const std::string& name, std::vector<std::string>& values,
                 const std::string& description) {
  command.add_option(name, values, description);
}

void OptionGroup::Flag(const std::string& names, bool& value,
                       const std::string& description) const {
  command_.add_flag(names, value, description)->group(heading_);
}

template <typename Value>
void OptionGroup::Option(const std::string& names, Value& value,
                         const std::string& description) const {
  command_.add_option(names, value, description)->group(heading_);
}

template void OptionGroup::Option(const std::string&, std::string&, const std::string&) const;
template void OptionGroup::Option(const std::string&, std::optional<std::string>&,
                                  const std::string&) const;

void OptionGroup::Options(const std::string& names, std::vector<std::string>& values,
                          const std::string& description) const {
  command_.add_option(names, values, description)->allow_extra_args(false)->group(heading_);
}

template <typename Value>
void OptionGroup::Number(const std::string& names, Value& value,
                         const std::string& description) const {
  command_.add_option(names, value, description)->check(RefuseEmpty)->group(heading_);
}

template void OptionGroup::Number(const std::string&, int&, const std::string&) const;
template void OptionGroup::Number(const std::string&, std::int64_t&, const std::string&) const;
template void OptionGroup::Number(const std::string&, std::optional<int>&,
                                  const std::string&) const;
template void OptionGroup::Number(const std::string&, double&, const std::string&) const;
template void OptionGroup::Number(const std::string&, std::optional<double>&,
                                  const std::string&) const;
