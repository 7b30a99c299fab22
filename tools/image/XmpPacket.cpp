#include "tools/image/XmpPacket.h"

#include <algorithm>
#include <cstdio>
#include <initializer_list>

#include "base/Md5.h"

namespace kxcms::image {

namespace {

constexpr auto kNowhere = std::string_view::npos;
constexpr std::string_view kNoteSpace = "http://ns.adobe.com/xmp/note/";
constexpr std::string_view kRestProperty = "HasExtendedXMP";

std::string Joined(std::initializer_list<std::string_view> parts) {
  std::string text;
  for (const std::string_view part : parts) text.append(part);
  return text;
}

bool IsSpace(char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

/// The prefix that a packet gives a name space, or nothing.
std::string PrefixOf(std::string_view packet, std::string_view space) {
  for (std::size_t at = packet.find(space); at != kNowhere; at = packet.find(space, at + 1)) {
    // xmlns:prefix="space"
    constexpr std::string_view kDeclaration = "xmlns:";
    constexpr std::size_t kLongest = 100;
    const char quote = at > 0 ? packet[at - 1] : ' ';
    const std::size_t end = at + space.size();
    if ((quote != '"' && quote != '\'') || end >= packet.size() || packet[end] != quote) continue;
    const std::size_t from = at - std::min(at, kLongest);
    const std::string_view before = packet.substr(from, at - 1 - from);
    const std::size_t start = before.rfind(kDeclaration);
    const std::size_t equals = before.find_last_of('=');
    if (start == kNowhere || equals == kNowhere || equals < start) continue;
    std::string_view prefix =
        before.substr(start + kDeclaration.size(), equals - start - kDeclaration.size());
    while (!prefix.empty() && IsSpace(prefix.back())) prefix.remove_suffix(1);
    return std::string(prefix);
  }
  return {};
}

/// What a property takes of a packet.
struct Extent {
  std::size_t begin = kNowhere;  ///< nowhere: its name stands there for something else
  std::size_t end = kNowhere;    ///< nowhere: the packet is cut off
};

Extent ExtentOf(std::string_view packet, const std::string& name, std::size_t at) {
  const std::size_t behind = at + name.size();
  const char before = at > 0 ? packet[at - 1] : ' ';
  const char next = behind < packet.size() ? packet[behind] : ' ';
  Extent extent;
  if (before == '<' && (IsSpace(next) || next == '>' || next == '/')) {
    extent.begin = at - 1;
    const std::size_t open = packet.find('>', behind);
    if (open == kNowhere) return extent;
    const std::size_t close =
        packet[open - 1] == '/' ? open : packet.find(Joined({"</", name, ">"}), behind);
    if (close != kNowhere) extent.end = packet.find('>', close) + 1;
  } else if (IsSpace(before) && (IsSpace(next) || next == '=')) {
    std::size_t value = behind;
    while (value < packet.size() && (IsSpace(packet[value]) || packet[value] == '=')) ++value;
    if (value == packet.size() || (packet[value] != '"' && packet[value] != '\'')) return extent;
    extent.begin = at;
    const std::size_t quote = packet.find(packet[value], value + 1);
    if (quote != kNowhere) extent.end = quote + 1;
  }
  return extent;
}

/// What stands between the tags of an element.
std::optional<std::string_view> ContentOf(std::string_view packet, std::string_view element) {
  const std::size_t tag = packet.find(Joined({"<", element}));
  const std::size_t open = tag == kNowhere ? kNowhere : packet.find('>', tag);
  const std::size_t close = packet.rfind(Joined({"</", element, ">"}));
  if (open == kNowhere || close == kNowhere || close <= open) return std::nullopt;
  // Declarations of name spaces would have to come along.
  const std::string_view start = packet.substr(tag, open - tag);
  if (start.find("xmlns:") != start.rfind("xmlns:")) return std::nullopt;
  return packet.substr(open + 1, close - open - 1);
}

}  // namespace

bool RemoveXmpProperty(std::string& packet, std::string_view space, std::string_view property) {
  const std::string prefix = PrefixOf(packet, space);
  if (prefix.empty()) return false;
  const std::string name = Joined({prefix, ":", property});
  std::string kept;
  std::size_t copied = 0;
  for (std::size_t at = packet.find(name); at != kNowhere; at = packet.find(name, at)) {
    const Extent extent = ExtentOf(packet, name, at);
    if (extent.begin == kNowhere) {
      at += name.size();
      continue;
    }
    if (extent.end == kNowhere) break;
    kept.append(packet, copied, extent.begin - copied);
    at = copied = extent.end;
  }
  if (copied == 0) return false;
  kept.append(packet, copied);
  packet = std::move(kept);
  return true;
}

std::optional<std::string> JoinedXmp(std::string packet, std::string_view rest) {
  constexpr std::string_view kElement = "rdf:RDF";
  const std::optional<std::string_view> content = ContentOf(rest, kElement);
  RemoveXmpProperty(packet, kNoteSpace, kRestProperty);
  const std::size_t end = packet.rfind(Joined({"</", kElement, ">"}));
  if (!content || end == kNowhere) return std::nullopt;
  return packet.insert(end, *content);
}

DividedXmp DivideXmp(std::span<const unsigned char> packet) {
  // The rest has no wrapper of processing instructions.
  std::string_view text(reinterpret_cast<const char*>(packet.data()), packet.size());
  constexpr std::string_view kBegin = "<?xpacket", kBehind = "?>";
  if (const std::size_t end = text.rfind(kBegin); end != kNowhere && end > 0) {
    text = text.substr(0, end);
  }
  if (const std::size_t begin = text.find(kBegin); begin != kNowhere) {
    const std::size_t behind = text.find(kBehind, begin);
    if (behind != kNowhere) text.remove_prefix(behind + kBehind.size());
  }
  DividedXmp divided;
  divided.rest.assign(text.begin(), text.end());
  for (const unsigned char byte : Md5(divided.rest)) {
    char digits[3];
    std::snprintf(digits, sizeof digits, "%02X", unsigned{byte});
    divided.digest += digits;
  }
  divided.packet =
      Joined({"<x:xmpmeta xmlns:x=\"adobe:ns:meta/\">"
              "<rdf:RDF xmlns:rdf=\"http://www.w3.org/1999/02/22-rdf-syntax-ns#\">"
              "<rdf:Description rdf:about=\"\" xmlns:xmpNote=\"",
              kNoteSpace, "\" xmpNote:", kRestProperty, "=\"", divided.digest,
              "\"/></rdf:RDF></x:xmpmeta>"});
  return divided;
}

}  // namespace kxcms::image
