#pragma once

#include "corpus/Corpus.h"

namespace reference {

// The corpus' digests as the independent model has them.
corpus::Digests ModelDigests();

}  // namespace reference
