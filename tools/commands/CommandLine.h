#ifndef KXCMS_TOOLS_COMMANDS_COMMANDLINE_H
#define KXCMS_TOOLS_COMMANDS_COMMANDLINE_H

// How commands declare what they take. CLI11, which parses it, is known here by a name alone: its
// own header takes the compiler seconds, and each of its templates more.

#include <functional>
#include <string>
#include <vector>

namespace CLI {
class App;
}  // namespace CLI

/// Under which headings `--help` shows the options of every command.
namespace option_group {
constexpr char kFiles[] = "Files";
constexpr char kContents[] = "Contents";
constexpr char kColors[] = "Colours";
constexpr char kFile[] = "File";
constexpr char kRunning[] = "Running";
}  // namespace option_group

/// Declares a command below another, or below the program.
CLI::App* AddCommand(CLI::App& parent, const std::string& name, const std::string& description);

/// One of the commands below this one has to follow it.
void RequireCommand(CLI::App& command);
/// Calls the function while the command line is parsed, if the command is there.
void WhenGiven(CLI::App& command, std::function<void()> function);

/// Declares what stands on the command line without a name: one text, or all that are left.
void AddArgument(CLI::App& command, const std::string& name, std::string& value,
                 const std::string& description);
void AddArgument(CLI::App& command, const std::string& name, std::vector<std::string>& values,
                 const std::string& description);

/// The options of a command under one heading, in the order in which they are declared. Names are
/// written with their dashes and commas between them. The command and the values are borrowed until
/// the command line has been parsed; a value that is not given stays as it is.
class OptionGroup {
 public:
  OptionGroup(CLI::App& command, const char* heading) : command_(command), heading_(heading) {}

  void Flag(const std::string& names, bool& value, const std::string& description) const;
  /// @tparam Value  std::string, or a std::optional of it, for which an empty value is none
  template <typename Value>
  void Option(const std::string& names, Value& value, const std::string& description) const;
  /// An option that may be given several times, each with one value.
  void Options(const std::string& names, std::vector<std::string>& values,
               const std::string& description) const;
  /// A number, which an empty value is not.
  /// @tparam Value  int, std::int64_t, double, or a std::optional of the first or the last
  template <typename Value>
  void Number(const std::string& names, Value& value, const std::string& description) const;

 private:
  CLI::App& command_;
  const char* heading_;
};

#endif
