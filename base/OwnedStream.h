#ifndef KXCMS_BASE_OWNEDSTREAM_H
#define KXCMS_BASE_OWNEDSTREAM_H

#include <cstdio>
#include <memory>

struct StreamCloser {
  void operator()(FILE* stream) const { std::fclose(stream); }
};

/// A stream that is closed once, whichever way its owner is left.
using OwnedStream = std::unique_ptr<FILE, StreamCloser>;

#endif
