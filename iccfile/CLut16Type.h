#ifndef KXCMS_ICCFILE_CLUT16TYPE_H
#define KXCMS_ICCFILE_CLUT16TYPE_H

#include "iccTagBase.h"

namespace ICC40 {
namespace ICCFILE {

class CLut;

/// A lookup table with 16-bit entries (ICC.1:2010 lut16Type): the form that the curve and
/// colour tables are built from. All table values are in host order, 0..65535.
class KX_API CLut16Type : public iccTagBase {
 public:
  /// Everything 0, no tables.
  CLut16Type();
  /// Converts a `CLut`: the A-to-B form takes its input tables from the A curves and its output
  /// tables from the B curves, the B-to-A form the other way round. Every channel takes the entry
  /// count of the first curve of its side; entries that a curve lacks are 0. Grid points are those
  /// of the first dimension. Matrix and M curves are ignored. The CLUT is taken as 16-bit;
  /// bytes that it lacks are 0. The type signature stays the source's, the size is 0. A null source
  /// gives an empty object; without a CLUT, or beyond the memory that the source warrants, tables
  /// are null. Throws bad_array_new_length if the value count is beyond any array.
  explicit CLut16Type(CLut* source);
  ~CLut16Type() override;

  using iccTagBase::Initial;
  /// Parses an 'mft2' tag. The colour table holds gridPoints^3 * outputChannels values whatever
  /// the input channel count says. @return `size`.
  int Initial(ICC4_HEADER::icTagSignature signature, unsigned char* data, int size) override;

  /// Writes an 'mft2' tag from the fields. Kept so that results stay identical: the matrix diagonal
  /// is written as 1.0 and its other words in host byte order; input and colour tables are swapped
  /// to file order in place before they are written (and stay swapped), output tables are written
  /// as they lie in memory. An absent table is written as zeros, 32 MiB of them at most.
  /// @return 0.
  int Save(FILE* stream) override;

  unsigned char inputChannels;   ///< as in the tag
  unsigned char outputChannels;  ///< as in the tag
  unsigned char gridPoints;      ///< per input dimension
  unsigned char reservedByte;    ///< tag byte 11
  int matrix[9];                 ///< e00, e01, ..., e22 as s15Fixed16 words
  unsigned short inputEntries;   ///< per input table
  unsigned short outputEntries;  ///< per output table
  unsigned short* inputTables;   ///< owned, new[]: inputChannels * inputEntries, or null
  unsigned short* colorTable;    ///< owned, new[]: at least gridPoints^3 * outputChannels, first
                                 ///< input slowest, or null
  unsigned short* outputTables;  ///< owned, new[]: outputChannels * outputEntries, or null
};

}  // namespace ICCFILE
}  // namespace ICC40

#endif
