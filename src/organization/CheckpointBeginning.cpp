// SPDX-License-Identifier: GPL-3.0-or-later
#include "organization/CheckpointBeginning.h"

#include "base/Record.h"

namespace penmark {

namespace {

// Walks JSON that may be cut off anywhere. What it finds is checked by the real parser; here only the ends of values
// are looked for.
class Walk {
public:
    explicit Walk(std::string_view text) : text_(text) {}

    std::size_t position() const { return at_; }

    // Goes over the character if it comes next.
    bool take(char wanted)
    {
        skipSpace();
        if (at_ >= text_.size() || text_[at_] != wanted)
            return false;
        ++at_;
        return true;
    }

    // Goes over the key and its colon if they come next. A key that is written with escapes is another one.
    bool takeKey(std::string_view key)
    {
        const std::size_t before = at_;
        const auto found = value();
        if (found && found->size() == key.size() + 2 && found->substr(1, key.size()) == key && take(':'))
            return true;
        at_ = before;
        return false;
    }

    // Goes over a value; absent if it is not there as a whole.
    std::optional<std::string_view> value()
    {
        skipSpace();
        const std::size_t start = at_;
        int depth = 0;
        for (; at_ < text_.size(); ++at_) {
            const char c = text_[at_];
            if (c == '"') {
                if (!skipString())
                    return std::nullopt;
            } else if (c == '{' || c == '[') {
                ++depth;
                continue;
            } else if (depth > 0 && (c == '}' || c == ']')) {
                --depth;
            } else {
                const bool ends = c == ',' || c == '}' || c == ']' || isSpace(c);
                if (depth == 0 && ends)
                    return at_ > start ? std::optional(text_.substr(start, at_ - start)) : std::nullopt;
                continue;
            }
            if (depth == 0) {  // behind a string or a closing bracket
                ++at_;
                return text_.substr(start, at_ - start);
            }
        }
        return std::nullopt;
    }

private:
    static bool isSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

    void skipSpace()
    {
        while (at_ < text_.size() && isSpace(text_[at_]))
            ++at_;
    }

    // From the opening quote to the closing one.
    bool skipString()
    {
        for (++at_; at_ < text_.size(); ++at_) {
            if (text_[at_] == '\\')
                ++at_;
            else if (text_[at_] == '"')
                return true;
        }
        return false;
    }

    std::string_view text_;
    std::size_t at_ = 0;
};

// The members before the lists.
struct Scalars {
    Uuid id;
    Date createdAt;
    Uuid deviceID;
    std::optional<std::string> name;
    bool pinned = false;

    static constexpr auto fields()
    {
        using R = Scalars;
        return std::tuple{field("id", &R::id), field("createdAt", &R::createdAt), field("deviceID", &R::deviceID),
                          field("name", &R::name), field("pinned", &R::pinned)};
    }
};

struct CoveredDocument {
    Uuid documentID;

    static constexpr auto fields() { return std::tuple{field("documentID", &CoveredDocument::documentID)}; }
};

// An element that is only counted.
struct Anything {};

void decodeValue(const JsonValue&, std::string_view, Anything&) {}

struct Outline {
    Uuid id;
    std::optional<std::string> name;
    std::vector<Anything> sessions;
    std::vector<Anything> workspaces;
    std::optional<std::vector<Anything>> projects;
    std::vector<CoveredDocument> documents;

    static constexpr auto fields()
    {
        using R = Outline;
        return std::tuple{field("id", &R::id),
                          field("name", &R::name),
                          field("sessions", &R::sessions),
                          field("workspaces", &R::workspaces),
                          field("projects", &R::projects),
                          field("documents", &R::documents)};
    }
};

enum class List { empty, filled, unknown };

// Goes over the list and the comma behind it if it is empty.
List takeEmptyList(Walk& walk, std::string_view key)
{
    if (!walk.takeKey(key) || !walk.take('['))
        return List::unknown;
    if (walk.take(']'))
        return walk.take(',') ? List::empty : List::unknown;
    return walk.take('{') ? List::filled : List::unknown;
}

// The only document, from what stands behind the scalars; an empty view if there are others or sessions. Absent if that
// cannot be told.
std::optional<std::string_view> onlyDocument(Walk& walk)
{
    for (const auto key : {"sessions", "workspaces", "projects"}) {
        const List list = takeEmptyList(walk, key);
        if (list != List::empty)
            return list == List::filled ? std::optional(std::string_view()) : std::nullopt;
    }
    if (!walk.takeKey("documents") || !walk.take('['))
        return std::nullopt;
    if (walk.take(']'))
        return std::string_view();
    const auto first = walk.value();
    if (first && walk.take(','))
        return std::string_view();
    return first && walk.take(']') ? first : std::nullopt;
}

}  // namespace

std::optional<CheckpointBeginning> CheckpointBeginning::parse(std::string_view beginning)
{
    Walk walk(beginning);
    if (!walk.take('{'))
        return std::nullopt;
    std::size_t end = 0;
    // Whoever keeps this order so far has put the name here, or there is none.
    for (const auto key : {"id", "createdAt", "deviceID", "name", "pinned"}) {
        if (!walk.takeKey(key)) {
            if (std::string_view(key) == "name")
                continue;
            return std::nullopt;
        }
        if (!walk.value())
            return std::nullopt;
        end = walk.position();
        if (!walk.take(','))
            return std::nullopt;
    }
    const auto document = onlyDocument(walk);
    if (!document)
        return std::nullopt;
    try {
        CheckpointBeginning found;
        found.name = decodeRecord<Scalars>(std::string(beginning.substr(0, end)) + "}").name;
        if (!document->empty())
            found.document = decodeRecord<CoveredDocument>(*document).documentID;
        return found;
    } catch (const RecordError&) {
        return std::nullopt;
    }
}

CheckpointBeginning CheckpointBeginning::parseWhole(std::string_view record)
{
    auto outline = decodeRecord<Outline>(record);
    CheckpointBeginning found;
    found.name = std::move(outline.name);
    if (outline.sessions.empty() && outline.workspaces.empty() && (!outline.projects || outline.projects->empty()) &&
        outline.documents.size() == 1)
        found.document = outline.documents.front().documentID;
    return found;
}

}  // namespace penmark
