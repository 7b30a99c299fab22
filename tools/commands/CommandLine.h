#ifndef KXCMS_TOOLS_COMMANDS_COMMANDLINE_H
#define KXCMS_TOOLS_COMMANDS_COMMANDLINE_H

// CLI11's classes by name alone, for headers: its own takes the compiler seconds.
namespace CLI {
class App;
class Option;
}  // namespace CLI

/// Under which headings `--help` shows the options of every command.
namespace option_group {
constexpr char kFiles[] = "Files";
constexpr char kContents[] = "Contents";
constexpr char kColors[] = "Colours";
constexpr char kFile[] = "File";
constexpr char kRunning[] = "Running";
}  // namespace option_group

#endif
