#include "tools/commands/Profile.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <nlohmann/json.hpp>
#include <system_error>
#include <vector>

#include "api/pipeline.h"
#include "base/Bytes.h"
#include "tools/InputFile.h"
#include "tools/OneLine.h"
#include "tools/OutputFile.h"
#include "tools/Refusal.h"
#include "tools/commands/ColorHandles.h"
#include "tools/commands/ConvertOptions.h"
#include "tools/image/ImageError.h"
#include "tools/image/ProfileEditor.h"
#include "tools/image/SameSamples.h"

namespace {

namespace fs = std::filesystem;
using namespace kxcms::image;
using Action = ProfileRequest::Action;
using Bytes = std::vector<unsigned char>;

bool AreOneFile(const std::string& a, const std::string& b) {
  std::error_code ignored;
  return fs::equivalent(a, b, ignored);
}

std::string Joined(const std::vector<std::string>& names) {
  std::string joined;
  std::vector<std::string> told;
  for (const std::string& name : names) {
    if (std::find(told.begin(), told.end(), name) != told.end()) continue;
    told.push_back(name);
    joined += (joined.empty() ? "" : ", ") + name;
  }
  return joined;
}

/// One run of the command, from the request to the file.
class Run {
 public:
  explicit Run(const ProfileRequest& request) : request_(request) {}

  void Do() {
    CheckRequest();
    if (IsLeftAlone()) return;
    switch (request_.action) {
      case Action::kMake:
        return Write(Made(), "made");
      case Action::kExtract:
        return WithInput([this](const InputBytes& bytes) { Extract(bytes); });
      case Action::kEmbed:
      case Action::kRemove:
        return WithInput([this](const InputBytes& bytes) { Rewrite(bytes); });
    }
  }

 private:
  [[noreturn]] static void RefuseUsage(const std::string& line) {
    throw Refusal(Exit::Usage, line);
  }

  void CheckRequest() const {
    if (request_.input.empty() || request_.output.empty() ||
        (request_.action == Action::kEmbed && request_.profile.empty())) {
      constexpr const char* kNeeds[] = {
          "extract needs an image and a file for its profile",
          "embed needs an image, a profile and an output file",
          "remove needs an image and an output file",
          "make needs a space (convert --list shows them) and an output file"};
      RefuseUsage(std::string("profile ") + kNeeds[static_cast<int>(request_.action)]);
    }
    if (request_.exists != "replace" && request_.exists != "refuse" && request_.exists != "skip") {
      RefuseUsage("unknown --exists " + request_.exists + "; known: replace, refuse, skip");
    }
    if (request_.version && *request_.version != 2 && *request_.version != 4) {
      RefuseUsage("--version must be 2 or 4");
    }
    if (request_.action == Action::kExtract && AreOneFile(request_.input, request_.output)) {
      RefuseUsage(request_.output + " is the image; its profile would replace it");
    }
    if (request_.action == Action::kEmbed && AreOneFile(request_.profile, request_.output)) {
      RefuseUsage(request_.output + " is the profile; the image would replace it");
    }
  }

  /// Whether the output exists and is not to be replaced.
  bool IsLeftAlone() const {
    struct stat status;
    if (request_.exists == "replace" || lstat(request_.output.c_str(), &status) != 0) return false;
    if (request_.exists == "refuse") {
      throw Refusal(Exit::WriteFailed, "cannot write " + request_.output +
                                           ": it exists; --exists replace replaces it");
    }
    if (!request_.isQuiet) {
      std::fprintf(stderr, "kxcms: %s\n", OneLine(request_.output + " exists: skipped").c_str());
    }
    if (request_.isJson) PrintRecord("skipped", {});
    return true;
  }

  /// Opens the input; gives the errors of images the name of the file that they concern.
  template <typename Function>
  void WithInput(Function function) {
    const Stream stream = OpenInput(request_.input);
    const std::uint64_t size = RegularFileSize(fileno(stream.get()), request_.input);
    try {
      function(FileBytes(fileno(stream.get()), size));
    } catch (const ImageError& error) {
      switch (error.kind) {
        case ImageError::Kind::kUnwritable:
          throw Refusal(Exit::WriteFailed, "cannot write " + request_.output + ": " + error.what());
        case ImageError::Kind::kUnsupported:
          throw Refusal(Exit::WouldBeWrong, request_.input + ": " + error.what());
        case ImageError::Kind::kUnreadable:
          break;
      }
      throw Refusal(Exit::InputUnreadable, request_.input + ": " + error.what());
    }
  }

  void Extract(const InputBytes& bytes) {
    const auto editor = ProfileEditor::Open(bytes);
    const auto& pages = editor->pages();
    const std::size_t main = editor->MainPage();
    format_ = NameOf(editor->format());
    if (!pages[main].profile || pages[main].profile->empty()) {
      for (std::size_t i = 0; i < pages.size(); ++i) {
        if (pages[i].profile && !pages[i].profile->empty()) {
          throw Refusal(Exit::ProfileUnusable, request_.input +
                                                   ": no profile is embedded in its main page; "
                                                   "page " +
                                                   std::to_string(i + 1) + " has one");
        }
      }
      throw Refusal(Exit::ProfileUnusable, request_.input +
                                               ": no profile is embedded; profile embed puts one "
                                               "in");
    }
    for (std::size_t i = 0; i < pages.size(); ++i) {
      if (i == main || !pages[i].profile || pages[i].profile == pages[main].profile) continue;
      notes_.push_back(request_.input + ": page " + std::to_string(i + 1) +
                       " has another profile, which is not extracted");
    }
    Write(*pages[main].profile, "extracted");
  }

  Bytes Made() const {
    kxp_error error = {};
    error.size = sizeof error;
    kxp_profile* opened = nullptr;
    if (kxp_profile_builtin(request_.input.c_str(), &opened, &error) != KXP_OK) {
      if (error.status == KXP_ERROR_MEMORY) throw std::bad_alloc();
      RefuseUsage("unknown space " + request_.input + "; convert --list shows them");
    }
    const ProfileHandle space(opened);
    const auto version = static_cast<std::uint32_t>(request_.version.value_or(0));
    std::size_t size = 0;
    if (kxp_profile_write(opened, version, nullptr, 0, &size, &error) != KXP_OK) {
      RefuseProfile(request_.input, error);
    }
    Bytes bytes(size);
    if (kxp_profile_write(opened, version, bytes.data(), bytes.size(), &size, &error) != KXP_OK) {
      RefuseProfile(request_.input, error);
    }
    return bytes;
  }

  /// The profile to embed, found to be one that can describe an image.
  Bytes CheckedProfile() const {
    Bytes bytes = NamedProfile(request_.profile);
    const std::string name = "profile " + request_.profile;
    const auto refuse = [&name](const std::string& reason) {
      throw Refusal(Exit::ProfileUnusable, name + ": " + reason);
    };
    // ICC.1:2010, 7.2
    constexpr std::size_t kHeaderBytes = 128, kClassAt = 12, kSpaceAt = 16, kSignatureAt = 36;
    const auto word = [&bytes](std::size_t at) {
      return std::string(bytes.begin() + static_cast<std::ptrdiff_t>(at),
                         bytes.begin() + static_cast<std::ptrdiff_t>(at + 4));
    };
    if (bytes.size() < kHeaderBytes + 4 || word(kSignatureAt) != "acsp") {
      refuse("not an ICC profile");
    }
    if (kxcms::BigEndianView(bytes).U32(0) != bytes.size()) refuse("its size is not what it says");
    const std::string deviceClass = word(kClassAt);
    constexpr std::array kClasses = {"scnr", "mntr", "prtr", "spac"};
    if (std::find(kClasses.begin(), kClasses.end(), deviceClass) == kClasses.end()) {
      refuse("of class " + deviceClass + ", which describes no image");
    }
    // Of other colours only the header is known here.
    if (word(kSpaceAt) == "RGB ") ReadProfileBytes(bytes, name);
    return bytes;
  }

  void Rewrite(const InputBytes& bytes) {
    const auto editor = ProfileEditor::Open(bytes);
    format_ = NameOf(editor->format());
    const std::optional<Format> named = FormatOfSuffix(request_.output);
    if (named && *named != editor->format()) {
      RefuseUsage(request_.output + ": its suffix names " + NameOf(*named) + ", and " +
                  request_.input + " is a " + format_ + " file; convert changes formats");
    }
    const bool isEmbedding = request_.action == Action::kEmbed;
    std::optional<Bytes> profile;
    if (isEmbedding) profile = CheckedProfile();
    NotePages(*editor, profile);
    NamedColors colors = NamedColors::kOther;
    if (request_.profile == "srgb") colors = NamedColors::kSrgb;
    if (request_.profile == "adobe-rgb") colors = NamedColors::kAdobeRgb;

    OutputFile output(request_.output);
    FileOutput to(output.fd());
    const std::uint64_t size = editor->Write(profile ? &*profile : nullptr, colors, to, edits_);
    if (ftruncate(output.fd(), static_cast<off_t>(size)) != 0) {
      throw Refusal(Exit::WriteFailed,
                    "cannot write " + request_.output + ": " + std::strerror(errno));
    }
    if (!HaveSameSamples(editor->format(), bytes, FileBytes(output.fd(), size))) {
      throw Refusal(Exit::WouldBeWrong,
                    request_.input + ": its pixels would change; nothing is written");
    }
    Finish(output, isEmbedding ? "embedded" : "removed", profile ? profile->size() : 0);
  }

  /// Refuses a profile of other colours than those of the main page; tells of other pages.
  void NotePages(const ProfileEditor& editor, const std::optional<Bytes>& profile) {
    const auto& pages = editor.pages();
    if (!profile) {
      const auto hasProfile = [](const auto& page) { return page.profile.has_value(); };
      if (std::none_of(pages.begin(), pages.end(), hasProfile)) {
        notes_.push_back(request_.input + ": no profile is embedded");
      }
      return;
    }
    constexpr std::ptrdiff_t kSpaceAt = 16;
    std::string space(profile->begin() + kSpaceAt, profile->begin() + kSpaceAt + 4);
    while (space.ends_with(' ')) space.pop_back();
    const std::size_t main = editor.MainPage();
    for (std::size_t i = 0; i < pages.size(); ++i) {
      const bool isMask = pages[i].isCopy && pages[i].space.empty();  // of no colours
      if (isMask || pages[i].FitsProfile(*profile)) continue;
      const std::string what =
          "holds " + pages[i].kind + ", and the profile is one of " + space + " colours";
      if (i == main) throw Refusal(Exit::ProfileUnusable, request_.input + ": " + what);
      notes_.push_back(request_.input + ": page " + std::to_string(i + 1) + " stays as it is: it " +
                       what);
    }
  }

  void Write(const Bytes& bytes, const char* status) {
    OutputFile output(request_.output);
    FileOutput to(output.fd());
    to.Write(0, bytes.data(), bytes.size());
    try {
      to.Check();
    } catch (const ImageError& error) {
      throw Refusal(Exit::WriteFailed, "cannot write " + request_.output + ": " + error.what());
    }
    Finish(output, status, bytes.size());
  }

  void Finish(OutputFile& output, const char* status, std::size_t profileBytes) {
    // Behind the commit nothing may fail any more, not even for want of memory.
    std::string lines;
    if (!request_.isQuiet) {
      for (const std::string& note : notes_) lines += "kxcms: " + OneLine(note) + "\n";
      for (const auto& [what, names] : {std::pair("taken out: ", &edits_.removed),
                                        {"corrected: ", &edits_.corrected},
                                        {"left as it is: ", &edits_.kept}}) {
        if (names->empty()) continue;
        lines += "kxcms: " + OneLine(request_.input + ": " + what + Joined(*names)) + "\n";
      }
    }
    const std::string record = request_.isJson ? Record(status, profileBytes) : "";
    output.Commit(request_.isDurable);
    std::fputs(lines.c_str(), stderr);
    std::cout << record;
  }

  std::string Record(const char* status, std::optional<std::size_t> profileBytes) const {
    nlohmann::json record = {{"input", request_.input},   {"output", request_.output},
                             {"status", status},          {"notes", notes_},
                             {"removed", edits_.removed}, {"corrected", edits_.corrected},
                             {"kept", edits_.kept}};
    if (format_ != nullptr) record["format"] = format_;
    if (profileBytes) record["profile_bytes"] = *profileBytes;
    return record.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
  }
  void PrintRecord(const char* status, std::optional<std::size_t> profileBytes) const {
    std::cout << Record(status, profileBytes);
  }

  const ProfileRequest& request_;
  const char* format_ = nullptr;
  std::vector<std::string> notes_;
  EditNotes edits_;
};

}  // namespace

CLI::App* AddProfile(CLI::App& app, ProfileRequest& request) {
  CLI::App* const command = AddCommand(
      app, "profile", "Take the profile out of an image, put one in, or make one of a space");
  RequireCommand(*command);
  const auto add = [&](const char* name, Action action, const char* description) {
    CLI::App* const sub = AddCommand(*command, name, description);
    WhenGiven(*sub, [&request, action] { request.action = action; });
    return sub;
  };
  CLI::App* const extract =
      add("extract", Action::kExtract, "Write the profile that an image carries to a file");
  CLI::App* const embed =
      add("embed", Action::kEmbed, "Put a profile into an image, whose pixels stay as they are");
  CLI::App* const remove =
      add("remove", Action::kRemove, "Take the profile out of an image, whose pixels stay");
  CLI::App* const make = add("make", Action::kMake, "Make the profile of a built-in space");

  const char* const image = "TIFF, JPEG or PNG file, of any colours";
  AddArgument(*extract, "IMAGE", request.input, image);
  AddArgument(*extract, "OUT", request.output, "file for the profile");
  AddArgument(*embed, "IMAGE", request.input, image);
  AddArgument(*embed, "PROFILE", request.profile, "ICC profile or space");
  AddArgument(*embed, "OUT", request.output, "file to write; may be IMAGE");
  AddArgument(*remove, "IMAGE", request.input, image);
  AddArgument(*remove, "OUT", request.output, "file to write; may be IMAGE");
  AddArgument(*make, "SPACE", request.input, "built-in space, see convert --list");
  AddArgument(*make, "OUT", request.output, "file for the profile");
  const OptionGroup file(*make, option_group::kFile);
  file.Number("--version", request.version, "of ICC, 2 or 4 (default: 4)");
  for (CLI::App* const sub : {extract, embed, remove, make}) {
    const OptionGroup running(*sub, option_group::kRunning);
    running.Option("--exists", request.exists,
                   "replace, refuse or skip an existing OUT (default: replace)");
    running.Flag("--durable", request.isDurable, "force the result to the disk");
    running.Flag("--quiet", request.isQuiet, "tell only what went wrong");
    running.Flag("--json", request.isJson, "print a record of what was done");
  }
  return command;
}

void RunProfile(const ProfileRequest& request) {
  Run(request).Do();
}
