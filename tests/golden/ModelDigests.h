#pragma once

#include "tools/corpus/Corpus.h"

namespace reference {

// The corpus' digests as the independent model has them.
corpus::Digests ModelDigests();

}  // namespace reference
