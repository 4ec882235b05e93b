// Where tests find the shared test data and the engine binary.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>

// FERROLUNE_SHARED overrides the default: the "shared" folder beside the source tree.
inline std::filesystem::path SharedDir() {
    if (const char* env = std::getenv("FERROLUNE_SHARED")) return env;
    return std::filesystem::path(FERROLUNE_SOURCE_DIR) / ".." / "shared";
}

// Skips the calling test with a clear message when a shared file is absent.
#define REQUIRE_SHARED_FILE(var, relative)                                                      \
    const std::filesystem::path var = SharedDir() / (relative);                                \
    if (!std::filesystem::exists(var)) GTEST_SKIP() << "shared test data not found: " << var.string()
