// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/Sha256.h"
#include "storage/RecoveryError.h"
#include "storage/RecoveryFileAccess.h"

#include <cstdio>
#include <exception>
#include <filesystem>
#include <optional>
#include <string>

namespace {

/// The text of one generation: every line tells which, so that a torn or mixed file is seen.
std::string textOf(int generation)
{
    std::string text;
    for (int line = 0, lines = 1 + generation * 37 % 4000; line < lines; ++line)
        text += "generation " + std::to_string(generation) + "\n";
    return text;
}

}  // namespace

/// Saves one generation after another to FILE, or to FILE.1, FILE.2, … with `new`, until it is ended or a save fails;
/// writes the number of each generation to standard output once its save has returned. Expects generation 0 in FILE.
int main(int argc, char** argv)
{
    if (argc < 3) {
        std::fprintf(stderr, "usage: %s FILE LIBRARY-FOLDER [new]\n", argv[0]);
        return 2;
    }
    const std::filesystem::path file = argv[1];
    const bool newNames = argc > 3;
    const penmark::RecoveryFileAccess access(argv[2]);
    try {
        for (int generation = 1;; ++generation) {
            const auto target = newNames ? file.native() + "." + std::to_string(generation) : file.native();
            const auto expected = newNames ? std::nullopt : std::optional(penmark::sha256(textOf(generation - 1)));
            access.saveFile(textOf(generation), target, expected);
            std::printf("%d\n", generation);
            std::fflush(stdout);
        }
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
