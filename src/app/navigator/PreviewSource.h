// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Uuid.h"

#include <functional>
#include <string>
#include <vector>

namespace penmark {

/// Reads how texts begin, for filters that look into them.
class PreviewSource {
public:
    /// One text for each identifier that was asked for, in that order; empty where nothing can be read.
    using Answer = std::function<void(std::vector<std::string> texts)>;

    virtual ~PreviewSource() = default;

    /// Answers once, on the main thread, when it is ready: with the first 200 characters of each text. Called from the
    /// main thread, which does not wait; the answer may be called after whoever asked is gone.
    virtual void readPreviews(std::vector<Uuid> ids, Answer answer) = 0;
};

}  // namespace penmark
