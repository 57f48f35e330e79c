// SPDX-License-Identifier: GPL-3.0-or-later
// A writer to be killed, and the judge of what it leaves behind.
//
//   crash_writer write LIBRARY SEED   stores revisions without end; prints the id and content hash of each as soon as
//                                     the library has reported it as stored
//   crash_writer check LIBRARY        reads such lines from standard input and looks whether each revision is there and
//                                     its text readable, and whether the library is sound; exit status 1 if not
#include "base/Sha256.h"
#include "storage/ContentStore.h"
#include "storage/DocumentStore.h"
#include "storage/RecoveryStore.h"

#include <cstdlib>
#include <iostream>
#include <random>
#include <string>
#include <vector>

#include <unistd.h>

namespace penmark {
namespace {

std::string someText(std::mt19937& random)
{
    constexpr std::size_t sizes[] = {0, 40, 3'000, 20'000, 70'000, 300'000};
    const std::size_t size = sizes[random() % std::size(sizes)];
    std::string text = std::to_string(random()) + "\n";
    while (text.size() < size)
        text += std::to_string(random() % 5000) + (random() % 9 == 0 ? "\n" : " ");
    return text;
}

void write(const std::string& folder, unsigned seed)
{
    RecoveryStore library({folder, {}});
    DocumentStore documents(library);
    std::mt19937 random(seed);
    std::vector<RecoveryDocument> open;
    for (const char* title : {"One", "Two", "Three"}) {
        open.push_back(documents.newDocument(title));
        documents.createDocument(open.back());
    }
    for (;;) {
        RecoveryDocument& document = open[random() % open.size()];
        auto written = documents.writeRevision(document.id, document.head, someText(random));
        document = std::move(written.document);
        // One call, so that a line is there whole or not at all.
        const std::string line = written.revision->id.text() + " " + written.revision->contentHash + "\n";
        if (::write(STDOUT_FILENO, line.data(), line.size()) != static_cast<ssize_t>(line.size()))
            return;
        if (random() % 20 == 0)
            document = documents.discard(document.id);
    }
}

bool check(const std::string& folder)
{
    RecoveryStore library({folder, {}});
    const DocumentStore documents(library);
    const ContentStore content(library);
    bool sound = library.integrityCheck() && library.query("PRAGMA foreign_key_check").empty();
    if (!sound)
        std::cout << "the database is not sound\n";
    std::string id;
    std::string hash;
    while (std::cin >> id >> hash) {
        try {
            const auto revision = documents.loadRevision(Uuid::parse(id).value());
            if (revision && revision->contentHash == hash && sha256(content.loadText(hash)) == hash)
                continue;
            std::cout << id << " is lost\n";
        } catch (const std::exception& error) {
            std::cout << id << ": " << error.what() << "\n";
        }
        sound = false;
    }
    // What nobody was told of must be whole as well.
    for (const auto& row : library.query("SELECT DISTINCT hash FROM revisions"))
        content.loadText(row[0]);
    for (const auto& document : documents.loadDocuments().documents) {
        if (document.head && !documents.loadRevision(*document.head)) {
            std::cout << "document " << document.id.text() << " has no head\n";
            sound = false;
        }
    }
    return sound;
}

}  // namespace
}  // namespace penmark

int main(int argc, char** argv)
{
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    try {
        if (arguments.size() == 3 && arguments[0] == "write")
            penmark::write(arguments[1], static_cast<unsigned>(std::stoul(arguments[2])));
        else if (arguments.size() == 2 && arguments[0] == "check")
            return penmark::check(arguments[1]) ? 0 : 1;
        else
            return 2;
    } catch (const std::exception& error) {
        std::cerr << error.what() << "\n";
        return 1;
    }
}
