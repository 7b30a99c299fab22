#ifndef KXCMS_TESTS_SURROUNDINGS_H
#define KXCMS_TESTS_SURROUNDINGS_H

#include <gtest/gtest.h>

#include <filesystem>

/// Skips the test, aloud, where the system does not show a path: a container may hide /proc.
#define KXCMS_REQUIRE_PATH(path) \
  if (!std::filesystem::exists(path)) GTEST_SKIP() << "SKIP: there is no " path

#endif
