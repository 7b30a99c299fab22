#include "tools/commands/Info.h"

#include <iostream>
#include <new>
#include <utility>

#include "tools/FileKind.h"
#include "tools/ImageCheck.h"
#include "tools/InputFile.h"
#include "tools/OneLine.h"
#include "tools/ProfileSource.h"
#include "tools/image/ImageError.h"
#include "tools/image/ImageSource.h"
#include "tools/info/ImageFacts.h"
#include "tools/info/ProfileFacts.h"
#include "tools/info/Wording.h"

namespace {

using kxcms::info::Json;

/// Fills in what a file is, and all that is known of it. Throws a `Refusal` for what cannot be
/// read.
void Tell(const std::string& file, Json& told) {
  const auto refuse = [&file](const std::string& reason) {
    throw Refusal(Exit::InputUnreadable, file + ": " + reason);
  };
  const Stream stream = OpenInput(file);
  const int fd = fileno(stream.get());
  const std::uint64_t size = RegularFileSize(fd, file);
  const FileKind kind = KindOf(fd, size);
  told["kind"] = NameOf(kind);
  told["sizeBytes"] = size;
  if (IsImage(kind)) {
    try {
      told["image"] = kxcms::info::FactsOfImage(fd, size);
    } catch (const kxcms::image::ImageError& error) {
      RequireMemory(kxcms::image::kFreeMemory);
      refuse(error.what());
    }
    return;
  }
  if (kind == FileKind::kUnknown) refuse(kUnknownKind);
  kxcms::info::ProfileFacts profile = kxcms::info::FactsOfProfile(ReadProfile(fd, file));
  if (!profile.damage.empty()) refuse(profile.damage);
  told["profile"] = std::move(profile.facts);
}

void PrintLines(const Json& told) {
  const auto size = told["sizeBytes"].get<std::uint64_t>();
  std::cout << kxcms::info::Line(told["file"].get<std::string>() + ": " +
                                 kxcms::info::HumanBytes(size));
  const bool isImage = told.contains("image");
  std::cout << (isImage ? kxcms::info::LinesOfImage(told["image"], "  ")
                        : kxcms::info::LinesOfProfile(told["profile"], "  "));
}

}  // namespace

CLI::App* AddInfo(CLI::App& app, InfoRequest& request) {
  CLI::App* command = AddCommand(
      app, "info", "Show what images and ICC profiles are, and whether they can be converted");
  AddArgument(*command, "FILE", request.files, "TIFF, JPEG and PNG images and ICC profiles");
  const OptionGroup running(*command, option_group::kRunning);
  running.Flag("--json", request.json, "print one JSON document instead of lines");
  return command;
}

Exit PrintInfo(const InfoRequest& request) {
  if (request.files.empty()) throw Refusal(Exit::Usage, "info needs at least one file");
  Exit status = Exit::Done;
  Json files = Json::array();
  for (const std::string& file : request.files) {
    Json told = {{"file", file}, {"kind", NameOf(FileKind::kUnknown)}, {"status", "ok"}};
    std::string unreadable;
    try {
      Tell(file, told);
    } catch (const Refusal& refusal) {
      unreadable = refusal.what();
    } catch (const std::bad_alloc&) {
      unreadable = file + ": not enough memory for this file";
    }
    if (!unreadable.empty()) {
      status = Exit::InputUnreadable;
      told["status"] = "unreadable";
      told["reason"] = unreadable;
      // In its place among the lines, where both go to the same terminal.
      std::cout.flush();
      std::cerr << "kxcms: " << OneLine(unreadable) << '\n';
    } else if (!request.json) {
      PrintLines(told);
    }
    if (request.json) files.push_back(std::move(told));
  }
  if (request.json) {
    const Json document = {{"files", std::move(files)}};
    // Names need not be UTF-8.
    std::cout << document.dump(2, ' ', false, Json::error_handler_t::replace) << '\n';
  }
  return status;
}
