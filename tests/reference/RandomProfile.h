#pragma once

#include "corpus/RandomProfile.h"

// The tests' profiles are those of the command's self-test, under the name of the model that they
// are compared with.
namespace reference {
using namespace corpus;
}
