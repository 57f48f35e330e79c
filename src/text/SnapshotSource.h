// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/TextSource.h"
#include "text/TextSnapshot.h"

namespace penmark {

/// A snapshot as a source for those who know nothing of snapshots, such as the library. Holds the snapshot, so the text
/// that it was taken from can be edited meanwhile.
class SnapshotSource final : public TextSource {
public:
    explicit SnapshotSource(TextSnapshot text) : text_(std::move(text)) {}

    std::size_t size() const override { return text_.end().value; }
    void forEachPiece(std::size_t offset, std::size_t length,
                      FunctionRef<void(std::string_view piece)> call) const override;
    std::string_view part(std::size_t offset, std::size_t length, std::string& room) const override;

private:
    Utf8Range rangeOf(std::size_t offset, std::size_t length) const;

    TextSnapshot text_;
};

}  // namespace penmark
