#ifndef KXCMS_ICCFILE_ICCFILE4_H
#define KXCMS_ICCFILE_ICCFILE4_H

#include <cstdio>
#include <memory>
#include <vector>

#include "../base/KxApi.h"
#include "IccHeader.h"
#include "iccTagBase.h"

namespace ICC40 {
/// ICC profile files, and the codes of colour encodings and rendering intents.
namespace ICCFILE {

/// One ICC profile in memory (ICC.1:2010 clause 7): the header in host order and the tags as
/// objects, in the order of the file's tag table. Shares the tags with whoever called `GetTag`. One
/// thread at a time.
///
/// Files are not trusted: bytes that are not there read as 0, and what a file makes the object hold
/// is bounded by the file's size (see `ReadFile`).
class KX_API IccFile4 {
 public:
  /// Header all 0, no tags.
  IccFile4();
  ~IccFile4();

  /// Reads header and tags from a file; tags are appended behind those already held.
  /// What one call makes the object hold stays within 32 MiB plus four times the file's size;
  /// tables and copies that would pass it are null. A tag-table entry that begins past the end of
  /// the file does not exist. May throw bad_alloc.
  /// @return 0, or -2 if the file cannot be opened or `path` is null (nothing changes).
  int ReadFile(char const* path);
  /// The same from the stream's current position; tag offsets count from the start of the file.
  /// The stream must be seekable for its tags to be found. @return 0; a null stream changes
  /// nothing.
  int ReadFile(FILE* stream);

  /// Reads 128 bytes into `header` and converts the numbers to host order; nothing is checked.
  /// @return 0; a null stream changes nothing.
  int ReadHeader(FILE* stream);

  /// Reads one tag and appends it. The three values are given as they stand in the tag table, in
  /// file byte order. The object gets the size rounded up to a multiple of 4; of a size that then
  /// does not fit an int it gets the low 32 bits, and keeps no copy of the bytes. @return 0.
  int AddIccTagData(unsigned int signature, unsigned int offset, unsigned int size, FILE* stream);

  /// Makes the object for one tag and parses it. `signature` is in host order; `data` holds `size`
  /// bytes that begin with the type signature (borrowed). The tag is not added to `tags`. May throw
  /// bad_alloc. @return the object, never empty.
  std::shared_ptr<iccTagBase> CreateNewTag(ICC4_HEADER::icTagSignature signature,
                                           unsigned char* data, int size);

  /// @return the first tag with this signature, or an empty pointer.
  std::shared_ptr<iccTagBase> GetTag(ICC4_HEADER::icTagSignature signature);

  /// Drops all tags; the header is kept.
  void Reset();

  /// Opens `path` for writing and, once it is open, throws the C string
  /// "Icc File SaveFile Error, File open fail.", leaving an empty file. Callers that want a profile
  /// on disk use the three operations below. @return 0 if the file cannot be opened.
  int SaveFile(char const* path);

  /// Writes the 128-byte header with `size` as profile size. Device attributes and the bytes behind
  /// the profile ID are written as 0. Like the next two, it leaves write errors to the stream's own
  /// error state, and writes nothing to a null stream. @return 0.
  int WriteHeader(FILE* stream, int size);

  /// Writes the tag count and the tag table, for tags that lie behind it one after the other in
  /// list order, each rounded up to a multiple of 4 bytes; the sizes in the table are not rounded.
  /// @return the offset just past the last tag: the profile's size.
  int WriteTagListHeader(FILE* stream);

  /// Writes every tag's `data`, or where that is null what its `Save` writes; adds no padding.
  /// @return 0.
  int WriteTagListData(FILE* stream);

  ICC4_HEADER::icHeader header;                   ///< as read; never checked
  std::vector<std::shared_ptr<iccTagBase>> tags;  ///< shared, none empty, in table order
};

}  // namespace ICCFILE
}  // namespace ICC40

#endif
