// SPDX-License-Identifier: GPL-3.0-or-later
// Random work in random documents against a plain string, for as long as one likes:
//
//   soak_text SECONDS [SEED]
//
// Stops with the seed of the document when something does not hold; that seed begins with the same document again.
#include "text/editor/Soak.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>

int main(int count, char** words)
{
    if (count < 2 || count > 3) {
        std::fputs("usage: soak_text SECONDS [SEED]\n", stderr);
        return 2;
    }
    const auto seconds = std::chrono::seconds(std::strtol(words[1], nullptr, 10));
    const auto seed = count > 2 ? static_cast<unsigned>(std::strtoul(words[2], nullptr, 10)) : 1U;
    try {
        const penmark::test::SoakReport report = penmark::test::soak(seconds, seed);
        std::printf(
            "%zu documents, %zu actions, %zu changes of the text at %zu places, %zu steps undone and done again, "
            "%zu snapshots compared\n",
            report.rounds, report.actions, report.changes, report.places, report.undone, report.snapshots);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "soak_text: %s\n", error.what());
        return 1;
    }
}
