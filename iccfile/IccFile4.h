#ifndef KXCMS_ICCFILE_ICCFILE4_H
#define KXCMS_ICCFILE_ICCFILE4_H

#include <cstdio>
#include <memory>
#include <vector>

#include "../interface/KxApi.h"
#include "IccHeader.h"
#include "iccTagBase.h"

namespace ICC40 {
namespace ICCFILE {

/// One ICC profile in memory: the header in host order and the tags as objects, in the order of
/// the file's tag table. Shares the tags with whoever called `GetTag`. One thread at a time.
///
/// Files are not trusted: bytes that are not there read as 0, and what a file makes the object hold
/// is bounded by the file's size (see `ReadFile`).
class KX_API IccFile4 {
 public:
  IccFile4();
  ~IccFile4();

  /// Reads header and tags from a file; tags are appended behind those already held.
  /// What one call makes the object hold stays within `ReaderLimit` of the file's size; tables and
  /// copies that would pass it are null. A tag-table entry that begins past the end of the file
  /// does not exist. May throw bad_alloc.
  /// @return 0, or -2 if the file cannot be opened or `path` is null (nothing changes).
  int ReadFile(char const* path);
  /// The same from the stream's current position; tag offsets count from the start of the file.
  /// The stream must be seekable for its tags to be found. @return 0; a null stream changes
  /// nothing.
  int ReadFile(FILE* stream);

  /// Reads 128 bytes into `header` and converts the numbers to host order. @return 0.
  int ReadHeader(FILE* stream);

  /// Reads one tag and appends it. The three values are given as they stand in the tag table, in
  /// file byte order. The object gets the size rounded up to a multiple of 4; a size that then does
  /// not fit an int gives an object without contents. @return 0.
  int AddIccTagData(unsigned int signature, unsigned int offset, unsigned int size, FILE* stream);

  /// Makes the object for one tag and parses it. `signature` is in host order; `data` holds `size`
  /// bytes that begin with the type signature (borrowed).
  std::shared_ptr<iccTagBase> CreateNewTag(ICC4_HEADER::icTagSignature signature,
                                           unsigned char* data, int size);

  /// The first tag with this signature, or an empty pointer.
  std::shared_ptr<iccTagBase> GetTag(ICC4_HEADER::icTagSignature signature);

  /// Drops all tags; the header is kept.
  void Reset();

  /// Opens `path` for writing and, once it is open, throws the C string
  /// "Icc File SaveFile Error, File open fail.", leaving an empty file. Callers that want a profile
  /// on disk use the three operations below. @return 0 if the file cannot be opened.
  int SaveFile(char const* path);

  /// Writes the 128-byte header with `size` as profile size; device attributes are written as 0.
  /// @return 0.
  int WriteHeader(FILE* stream, int size);

  /// Writes the tag count and the tag table. @return the offset just past the last tag.
  int WriteTagListHeader(FILE* stream);

  /// Writes every tag's bytes, or what its `Save` writes. @return 0.
  int WriteTagListData(FILE* stream);

  ICC4_HEADER::icHeader header;
  std::vector<std::shared_ptr<iccTagBase>> tags;
};

}  // namespace ICCFILE
}  // namespace ICC40

#endif
