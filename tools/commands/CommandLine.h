#ifndef KXCMS_TOOLS_COMMANDS_COMMANDLINE_H
#define KXCMS_TOOLS_COMMANDS_COMMANDLINE_H

// CLI11's classes by name alone, for headers: its own takes the compiler seconds.
namespace CLI {
class App;
class Option;
}  // namespace CLI

#endif
