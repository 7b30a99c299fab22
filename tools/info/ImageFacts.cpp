#include "tools/info/ImageFacts.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "tools/image/FileForm.h"
#include "tools/image/ImageSource.h"
#include "tools/image/TagNumbers.h"
#include "tools/info/ConversionMemory.h"
#include "tools/info/Wording.h"

namespace kxcms::info {

namespace {

using image::FileForm;
using image::Format;
using image::ImageSource;
using image::Page;
using image::PageForm;
using image::Resolution;

bool IsCopy(const Page& page) {
  return (page.subfileType & (Page::kReduced | Page::kMask)) != 0;
}

const char* KindOf(std::uint32_t subfileType) {
  if ((subfileType & Page::kMask) != 0) return "transparency mask";
  if ((subfileType & Page::kReduced) != 0) return "reduced copy";
  constexpr std::uint32_t kOneOfSeveral = 2;
  return (subfileType & kOneOfSeveral) != 0 ? "page of several" : "image";
}

Json ResolutionFacts(const std::optional<Resolution>& resolution) {
  if (!resolution) return nullptr;
  constexpr const char* kUnits[] = {"none", "inch", "centimetre"};
  return {{"x", resolution->x}, {"y", resolution->y}, {"unit", kUnits[resolution->unit - 1]}};
}

Json LayoutFacts(const PageForm& form) {
  if (form.tileWidth != 0) {
    return {{"kind", "tiles"},
            {"count", form.pieces},
            {"width", form.tileWidth},
            {"length", form.tileLength},
            {"hasSeparatePlanes", form.hasSeparatePlanes}};
  }
  if (form.pieces == 0) return {{"kind", "rows"}};
  return {{"kind", "strips"},
          {"count", form.pieces},
          {"rows", form.rowsPerStrip},
          {"hasSeparatePlanes", form.hasSeparatePlanes}};
}

/// The facts of an image file, page by page.
class ImageTeller {
 public:
  ImageTeller(int fd, std::uint64_t sizeBytes)
      : source_(ImageSource::Open(fd, sizeBytes)), form_(image::ReadForm(fd, sizeBytes)) {}

  Json Tell() {
    Json facts;
    facts["format"] = NameOf(form_.format);
    if (form_.format == Format::kTiff) {
      facts["byteOrder"] = form_.order == ByteOrder::kBig ? "big-endian" : "little-endian";
      facts["isBigTiff"] = form_.isBigTiff;
    }
    const std::size_t count = source_->pages().size();
    facts["pageCount"] = count;
    Json pages = Json::array();
    for (std::size_t i = 0; i < count; ++i) {
      Json page = TellPage(i);
      if (i < kMostShown) pages.push_back(std::move(page));
    }
    facts["pages"] = std::move(pages);
    Json profiles = Json::array();
    for (Embedded& profile : profiles_) {
      Json told = std::move(profile.told.facts);
      if (!profile.told.damage.empty()) {
        told = {{"isUsable", false}, {"reason", profile.told.damage}};
      }
      profiles.push_back(std::move(told));
    }
    facts["convert"] = TellConversion();
    facts["profiles"] = std::move(profiles);
    return facts;
  }

 private:
  struct Embedded {
    std::vector<unsigned char> bytes;
    ProfileFacts told;
  };

  /// Where in `profiles_` the one that is embedded in a page stands, if there is one.
  std::optional<std::size_t> ProfileOf(const Page& page, const PageForm& form) {
    const std::vector<unsigned char>& bytes = page.profile ? *page.profile : form.profile;
    if (bytes.empty()) return std::nullopt;
    const auto found = std::find_if(profiles_.begin(), profiles_.end(),
                                    [&](const Embedded& known) { return known.bytes == bytes; });
    const auto index = static_cast<std::size_t>(found - profiles_.begin());
    if (found == profiles_.end()) {
      // Files that have more are made to take memory: profiles may share their bytes.
      constexpr std::size_t kMostWithTags = 16;
      profiles_.push_back({bytes, FactsOfProfile(bytes)});
      Json& facts = profiles_.back().told.facts;
      if (index >= kMostWithTags && !facts.is_null()) facts["tags"] = Json::array();
    }
    return index;
  }

  Json TellPage(std::size_t index) {
    const Page& page = source_->pages()[index];
    const PageForm& form = form_.pages.at(index);
    const bool isTiff = form_.format == Format::kTiff;
    // What is not said in the file's own form stands in its Exif.
    std::uint64_t orientation = form.orientation;
    if (const image::Tag* const tag = page.metadata.directory.Find(image::tag::kOrientation)) {
      orientation = UnsignedItem(*tag, 0, page.metadata.order).value_or(orientation);
    }
    const bool isTaken = page.refusal.empty();
    Json facts;
    facts["page"] = index + 1;
    facts["parent"] = page.parent ? Json(*page.parent + 1) : Json(nullptr);
    facts["kind"] = KindOf(page.subfileType);
    facts["subfileType"] = page.subfileType;
    facts["width"] = form.width;
    facts["height"] = form.height;
    facts["bits"] = form.bits.size() == 1 ? Json(form.bits[0]) : Json(form.bits);
    facts["sampleFormat"] = form.sampleFormat;
    facts["colors"] = form.colors;
    facts["samples"] = form.samples;
    facts["extraSamples"] = form.extras;
    facts["compression"] = form.compression;
    facts["predictor"] = form.predictor;
    facts["areBitsReversed"] = form.areBitsReversed;
    facts["layout"] = LayoutFacts(form);
    facts["orientation"] = orientation;
    facts["resolution"] =
        ResolutionFacts(isTiff || !isTaken ? form.resolution : ResolutionOf(page.metadata));
    const std::optional<std::size_t> profile = ProfileOf(page, form);
    profileOfPage_.push_back(profile);
    facts["hasProfile"] = form.hasProfile;
    facts["profile"] = profile ? Json(*profile + 1) : Json(nullptr);
    facts["isConverted"] = isTaken;
    facts["reason"] = isTaken ? Json(nullptr) : Json(page.refusal);
    return facts;
  }

  std::string NameOfPage(std::size_t index) const {
    return source_->pages().size() == 1 ? "" : "page " + std::to_string(index + 1) + ": ";
  }

  /// Why `convert` refuses the file; empty if it does not.
  std::string Refusal() const {
    const std::vector<Page>& pages = source_->pages();
    for (std::size_t i = 0; i < pages.size(); ++i) {
      if (!pages[i].refusal.empty() && !IsCopy(pages[i])) return NameOfPage(i) + pages[i].refusal;
    }
    const bool any = std::any_of(pages.begin(), pages.end(),
                                 [](const Page& page) { return page.refusal.empty(); });
    return any ? "" : "no page that can be converted";
  }

  std::optional<std::size_t> MainProfile() const {
    for (std::size_t i = 0; i < profileOfPage_.size(); ++i) {
      if (source_->pages()[i].refusal.empty() && profileOfPage_[i]) return profileOfPage_[i];
    }
    return std::nullopt;
  }

  /// Why a profile has to be named for it; empty if none has.
  std::string NeedForProfile() const {
    const std::vector<Page>& pages = source_->pages();
    for (std::size_t i = 0; i < pages.size(); ++i) {
      if (!pages[i].refusal.empty()) continue;
      std::optional<std::size_t> profile = profileOfPage_[i];
      // A reduced copy has the colours of its main image.
      if (!profile && (pages[i].subfileType & Page::kReduced) != 0) profile = MainProfile();
      if (!profile) {
        return NameOfPage(i) + "no profile is embedded; --profile or --assume names one";
      }
      const ProfileFacts& told = profiles_[*profile].told;
      const std::string& reason = told.damage.empty() ? told.notASource : told.damage;
      if (!reason.empty()) {
        return NameOfPage(i) + "the embedded profile cannot be used (" + reason +
               "); --profile names another";
      }
    }
    return "";
  }

  Json TellConversion() const {
    const std::string refusal = Refusal();
    if (!refusal.empty()) return {{"isPossible", false}, {"reason", refusal}};
    const std::string need = NeedForProfile();
    std::string whole;
    for (std::size_t i = 0; i < source_->pages().size(); ++i) {
      if (source_->pages()[i].refusal.empty() && whole.empty()) {
        whole = form_.pages[i].wholeBecause;
      }
    }
    return {{"isPossible", true},
            {"needsProfile", need.empty() ? Json(nullptr) : Json(need)},
            {"memoryBytes", ConversionMemory(form_, *source_)},
            {"wholeImageBecause", whole.empty() ? Json(nullptr) : Json(whole)}};
  }

  std::unique_ptr<ImageSource> source_;
  FileForm form_;
  std::vector<Embedded> profiles_;
  std::vector<std::optional<std::size_t>> profileOfPage_;
};

// ---- Lines --------------------------------------------------------------------------------------

std::string Text(const Json& value) {
  return value.is_string() ? value.get<std::string>() : value.dump();
}

std::string LayoutLine(const Json& layout) {
  if (layout["kind"] == "rows") return "";
  const auto number = [&layout](const char* key) {
    return std::to_string(layout[key].get<std::uint64_t>());
  };
  const bool isTiled = layout["kind"] == "tiles";
  std::string line = ", " + number("count");
  if (isTiled) {
    line += layout["count"] == 1u ? " tile of " : " tiles of ";
    line += number("width") + " x " + number("length");
  } else {
    line += layout["count"] == 1u ? " strip of " : " strips of ";
    line += number("rows") + (layout["rows"] == 1u ? " row" : " rows");
  }
  return line + (layout["hasSeparatePlanes"].get<bool>() ? ", separate planes" : "");
}

std::string PageLine(const Json& page) {
  std::string line = Text(page["width"]) + " x " + Text(page["height"]) + ", ";
  std::string bits;
  if (page["bits"].is_array()) {
    for (const Json& count : page["bits"]) bits += (bits.empty() ? "" : ", ") + Text(count);
  } else {
    bits = Text(page["bits"]);
  }
  line += bits + (bits == "1" ? " bit" : " bits");
  if (page["sampleFormat"] != "unsigned") line += " " + Text(page["sampleFormat"]);
  line += ", " + Text(page["samples"]) + (page["samples"] == 1u ? " sample: " : " samples: ") +
          (page["colors"] == "" ? "colours not said" : Text(page["colors"]));
  for (const Json& extra : page["extraSamples"]) line += ", " + Text(extra);
  line += "; compression " + Text(page["compression"]);
  if (page["predictor"] != 1u) line += " with predictor " + Text(page["predictor"]);
  if (page["areBitsReversed"].get<bool>()) line += ", bits reversed";
  return line + LayoutLine(page["layout"]);
}

std::string PlaceLine(const Json& page) {
  std::string line = "orientation " + Text(page["orientation"]);
  const Json& resolution = page["resolution"];
  if (resolution.is_null()) return line;
  line += ", resolution " + Decimals(Json::array({resolution["x"]}), 2) + " x " +
          Decimals(Json::array({resolution["y"]}), 2);
  return line + (resolution["unit"] == "none" ? "" : " per " + Text(resolution["unit"]));
}

}  // namespace

Json FactsOfImage(int fd, std::uint64_t sizeBytes) {
  return ImageTeller(fd, sizeBytes).Tell();
}

std::string LinesOfImage(const Json& facts, const std::string& indent) {
  std::string lines;
  const auto add = [&](const std::string& line) { lines += Line(indent + line); };
  std::string head = Text(facts["format"]);
  if (facts.contains("byteOrder")) {
    if (facts["isBigTiff"].get<bool>()) head = "BigTIFF";
    head += ", " + Text(facts["byteOrder"]);
  }
  add(head);
  for (const Json& page : facts["pages"]) {
    std::string name = "page " + Text(page["page"]);
    if (page["kind"] != "image") name += ", " + Text(page["kind"]);
    if (!page["parent"].is_null()) name += ", below page " + Text(page["parent"]);
    add(name + ": " + PageLine(page));
    std::string place = "  " + PlaceLine(page) + ", ";
    if (!page["profile"].is_null()) {
      place += "profile " + Text(page["profile"]);
    } else {
      place += page["hasProfile"].get<bool>() ? "a profile" : "no profile";
    }
    add(place);
    if (!page["isConverted"].get<bool>()) add("  cannot be converted: " + Text(page["reason"]));
  }
  const std::size_t shown = facts["pages"].size();
  const auto count = facts["pageCount"].get<std::size_t>();
  if (count > shown) add("and " + std::to_string(count - shown) + " further pages");
  const Json& convert = facts["convert"];
  if (!convert["isPossible"].get<bool>()) {
    add("convert: refuses it: " + Text(convert["reason"]));
  } else {
    const auto memory = convert["memoryBytes"].get<std::uint64_t>();
    std::string line = "convert: takes it, in " + HumanBytes(memory) + " of memory at most";
    if (!convert["wholeImageBecause"].is_null()) {
      line += "; the whole image at once (" + Text(convert["wholeImageBecause"]) + ")";
    }
    add(line);
    if (!convert["needsProfile"].is_null()) add("convert: " + Text(convert["needsProfile"]));
  }
  std::size_t number = 0;
  for (const Json& profile : facts["profiles"]) {
    add("profile " + std::to_string(++number) + ":");
    if (profile.contains("version")) {
      lines += LinesOfProfile(profile, indent + "  ");
    } else {
      add("  cannot be used: " + Text(profile["reason"]));
    }
  }
  return lines;
}

}  // namespace kxcms::info
