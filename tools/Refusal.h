#ifndef KXCMS_TOOLS_REFUSAL_H
#define KXCMS_TOOLS_REFUSAL_H

#include <stdexcept>
#include <string>

/// Exit statuses of the command.
enum class Exit {
  Done = 0,
  Usage = 2,
  InputUnreadable = 3,
  ProfileUnusable = 4,
  WouldBeWrong = 5,
  WriteFailed = 6,
  SomeFailed = 7,    ///< of many files
  StoppedEarly = 8,  ///< and can go on
};

/// Ends the command: one line for standard error, without the leading "kxcms: ", and the status.
class Refusal : public std::runtime_error {
 public:
  Refusal(Exit exitStatus, const std::string& line, int error = 0)
      : std::runtime_error(line), status(exitStatus), systemError(error) {}
  Exit status;
  int systemError;  ///< errno where that was the reason of a failed write, otherwise 0
};

#endif
