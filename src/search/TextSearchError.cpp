// SPDX-License-Identifier: GPL-3.0-or-later
#include "search/TextSearchError.h"

namespace penmark {

TextSearchError TextSearchError::timeBudget()
{
    return {Case::timeBudget,
            "This pattern exceeded its time budget. Simplify the regex; these results are incomplete."};
}

TextSearchError TextSearchError::staleResult()
{
    return {Case::staleResult, "The text changed after this result or preview. Refresh the search before continuing."};
}

}  // namespace penmark
