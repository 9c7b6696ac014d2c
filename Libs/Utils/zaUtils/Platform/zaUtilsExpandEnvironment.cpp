#include <algorithm>
#include <cstdint>
#include <deque>
#include <queue>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "zaUtils/Os/Environment.h"
#include "zaUtils/Platform/zaUtils.h"

// By contract each value replaces the first occurrence of its reference in the result so far. To
// search the result from its start for each reference would take hours on large texts.
//
// While the references of the text are taken from left to right, the result is what is done,
// followed by the rest of the text from the current reference on, as it was. A reference cannot
// overlap another occurrence of itself: it has a '$' at its start only, or a '}' at its end only.
// So its first occurrence lies within what is done, or it is the current reference.
//
// What is done is a list of pieces, and each known occurrence of a variable's reference starts a
// piece. A change is searched for new occurrences, together with as much of its surroundings as the
// longest reference may need.

namespace {

// --- the references of a text ---

bool isNameCharacter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

struct Reference {
    std::string_view text;  ///< all of it, from the '$' on
    std::string_view name;
    std::size_t begin;
    std::size_t end;
};

/// Finds the references from left to right: what the regular expression
/// \$\{([^\}]+)\}|\$([A-Za-z_0-9]+) matches.
class ReferenceScanner {
public:
    explicit ReferenceScanner(std::string_view text) : _text(text) {}

    bool next(Reference& reference) {
        for (std::size_t dollar = _text.find('$', _position); dollar != std::string_view::npos;
             dollar = _text.find('$', dollar + 1)) {
            const bool inBraces = dollar + 1 < _text.size() && _text[dollar + 1] == '{';
            const std::size_t start = dollar + (inBraces ? 2 : 1);
            const std::size_t stop = inBraces ? closeFrom(start) : nameEndFrom(start);
            if (stop == std::string_view::npos || stop == start) continue;
            _position = inBraces ? stop + 1 : stop;
            reference = {_text.substr(dollar, _position - dollar),
                         _text.substr(start, stop - start), dollar, _position};
            return true;
        }
        return false;
    }

private:
    std::size_t nameEndFrom(std::size_t position) const {
        while (position < _text.size() && isNameCharacter(_text[position]))
            ++position;
        return position;
    }

    std::size_t closeFrom(std::size_t position) {
        if (_close < position) _close = _text.find('}', position);
        return _close;
    }

    std::string_view _text;
    std::size_t _position = 0;
    std::size_t _close = 0;  ///< the '}' that was looked for last
};

// --- an order that can be asked for ---

/// A place in a list that is only added to. Of two places the one with the smaller number comes
/// first.
struct Place {
    std::uint64_t number = 0;
    Place* before = nullptr;
    Place* after = nullptr;
};

void link(Place& place, Place* before, Place* after) {
    place.before = before;
    place.after = after;
    if (before) before->after = &place;
    if (after) after->before = &place;
}

constexpr int kNumberBits = 62;

/// Makes room after the place (Bender and others, "Two Simplified Algorithms for Maintaining Order
/// in a List"): spreads the numbers of the smallest aligned range around it that is thinly enough
/// used, where larger ranges have to be thinner. Takes logarithmic time on average.
void makeRoomAfter(Place& place) {
    constexpr double kThinning = 1.3;
    Place* first = &place;
    Place* last = &place;
    std::uint64_t count = 1;
    double capacity = 1;
    for (int bits = 1; bits <= kNumberBits; ++bits) {
        const std::uint64_t size = std::uint64_t{1} << bits;
        const std::uint64_t low = place.number & ~(size - 1);
        for (; first->before && first->before->number >= low; ++count)
            first = first->before;
        for (; last->after && last->after->number < low + size; ++count)
            last = last->after;
        capacity *= 2 / kThinning;
        const std::uint64_t gap = size / count;
        if (static_cast<double>(count) > capacity || gap < 2) continue;

        std::uint64_t number = low;
        for (Place* i = first; i != last->after; i = i->after, number += gap)
            i->number = number;
        return;
    }
}

void insertAfter(Place& place, Place& added) {
    constexpr std::uint64_t kStep = std::uint64_t{1} << 32;  // for what is added at the end
    const auto room = [&] {
        const std::uint64_t end =
            place.after ? place.after->number : std::uint64_t{1} << kNumberBits;
        return end - place.number;
    };
    if (room() < 2) makeRoomAfter(place);
    added.number = place.number + std::min(room() / 2, kStep);
    link(added, &place, place.after);
}

// --- what is done of the result ---

/// A run of the result's characters. One that has none left is out of the text, but keeps its
/// place, because occurrences that were there may still be in the queues.
struct Piece : Place {
    std::size_t begin = 0;
    std::size_t end = 0;
    Piece* previous = nullptr;  ///< in the text
    Piece* next = nullptr;

    std::size_t size() const { return end - begin; }
};

bool comesBefore(const Place* a, const Place* b) {
    return a->number < b->number;
}

/// Gives pieces in their order. Those that come in order, as most do, cost next to nothing.
class PieceQueue {
public:
    bool empty() const { return _inOrder.empty() && _others.empty(); }

    void push(Piece& piece) {
        if (_inOrder.empty() || comesBefore(_inOrder.back(), &piece)) {
            _inOrder.push_back(&piece);
        } else {
            _others.push(&piece);
        }
    }

    Piece& takeFirst() {
        const bool isOther =
            _inOrder.empty() || (!_others.empty() && comesBefore(_others.top(), _inOrder.front()));
        Piece& first = isOther ? *_others.top() : *_inOrder.front();
        isOther ? _others.pop() : _inOrder.pop_front();
        return first;
    }

private:
    struct ComesLater {
        bool operator()(const Place* a, const Place* b) const { return comesBefore(b, a); }
    };

    std::deque<Piece*> _inOrder;
    std::priority_queue<Piece*, std::vector<Piece*>, ComesLater> _others;
};

/// A variable by the text that refers to it, which lies in the input. Only those that are set.
struct Variable {
    std::string_view reference;
    std::string value;
    PieceQueue occurrences;  ///< the pieces that start with the reference, or once did

    bool inBraces() const { return reference[1] == '{'; }
};

/// Finds variables by the characters of their references, read one by one from the '$' on, or from
/// the '}' backwards.
class VariableIndex {
public:
    enum class Direction { Forwards, Backwards };

    explicit VariableIndex(Direction direction) : _direction(direction) {}

    void add(Variable& variable) {
        _sorted.push_back(&variable);
        _longest = std::max(_longest, variable.reference.size());
    }
    void sort() {
        std::sort(_sorted.begin(), _sorted.end(), [this](const Variable* a, const Variable* b) {
            const std::string_view x = a->reference;
            const std::string_view y = b->reference;
            return _direction == Direction::Forwards
                       ? std::lexicographical_compare(x.begin(), x.end(), y.begin(), y.end())
                       : std::lexicographical_compare(x.rbegin(), x.rend(), y.rbegin(), y.rend());
        });
    }

    std::size_t longest() const { return _longest; }

    /// Reads with `read`, which is false at the end, and calls `found` after the last character of
    /// each reference that is longer than `minimum`.
    template <typename Read, typename Found>
    void find(std::size_t minimum, Read read, Found found) const {
        auto low = _sorted.begin();
        auto high = _sorted.end();
        char c = 0;
        for (std::size_t depth = 0; low != high && read(c); ++depth) {
            low = std::partition_point(low, high, [&](const Variable* variable) {
                return character(*variable, depth) < c;
            });
            high = std::partition_point(low, high, [&](const Variable* variable) {
                return character(*variable, depth) <= c;
            });
            if (low == high) return;
            if ((*low)->reference.size() > depth + 1) continue;
            if (depth + 1 > minimum) found(**low);
            ++low;
        }
    }

private:
    char character(const Variable& variable, std::size_t depth) const {
        const std::string_view text = variable.reference;
        return _direction == Direction::Forwards ? text[depth] : text[text.size() - 1 - depth];
    }

    Direction _direction;
    std::vector<Variable*> _sorted;
    std::size_t _longest = 0;
};

/// What is done of the result, and where in it the variables' references occur.
class DoneText {
public:
    explicit DoneText(std::deque<Variable>& variables) {
        for (Variable& variable : variables)
            (variable.inBraces() ? _braced : _plain).add(variable);
        _braced.sort();
        _plain.sort();
    }

    DoneText(const DoneText&) = delete;
    DoneText& operator=(const DoneText&) = delete;

    void append(std::string_view text) {
        if (text.empty()) return;
        const std::size_t begin = _characters.size();
        _characters += text;
        if (_last == &_head || _last->end != begin) insertPiece(*_last, begin, begin);
        _last->end = _characters.size();
        findOccurrences(*_last, begin);
    }

    /// Replaces the first occurrence of the variable's reference by its value; false when there is
    /// none.
    bool replaceFirst(Variable& variable) {
        while (!variable.occurrences.empty()) {
            Piece& piece = variable.occurrences.takeFirst();
            if (startsWith(piece, variable.reference)) {
                replace(piece, variable.reference.size(), variable.value);
                return true;
            }
        }
        return false;
    }

    std::string take() {
        const Piece* first = _head.next;
        if (!first) return {};
        if (!first->next && first->size() == _characters.size()) return std::move(_characters);
        std::string text;
        for (const Piece* piece = first; piece; piece = piece->next)
            text.append(_characters, piece->begin, piece->size());
        return text;
    }

private:
    /// A position between two characters.
    struct Cursor {
        Piece* piece;
        std::size_t at;
    };
    struct Occurrence {
        Cursor start;
        Variable* variable;
    };

    bool readForwards(Cursor& cursor, char& c) const {
        while (cursor.at == cursor.piece->end) {
            if (!cursor.piece->next) return false;
            cursor.piece = cursor.piece->next;
            cursor.at = cursor.piece->begin;
        }
        c = _characters[cursor.at++];
        return true;
    }

    bool readBackwards(Cursor& cursor, char& c) const {
        while (cursor.at == cursor.piece->begin) {
            if (!cursor.piece->previous) return false;
            cursor.piece = cursor.piece->previous;
            cursor.at = cursor.piece->end;
        }
        c = _characters[--cursor.at];
        return true;
    }

    bool startsWith(Piece& piece, std::string_view text) const {
        if (piece.size() == 0) return false;
        Cursor cursor{&piece, piece.begin};
        char c = 0;
        return std::all_of(text.begin(), text.end(),
                           [&](char expected) { return readForwards(cursor, c) && c == expected; });
    }

    Piece& insertPiece(Piece& previous, std::size_t begin, std::size_t end) {
        Piece& piece = _pieces.emplace_back();
        insertAfter(previous, piece);
        piece.begin = begin;
        piece.end = end;
        piece.previous = &previous;
        piece.next = previous.next;
        (piece.next ? piece.next->previous : _last) = &piece;
        previous.next = &piece;
        return piece;
    }

    /// Cuts a piece in two and returns the second one.
    Piece& split(Piece& piece, std::size_t at) {
        Piece& second = insertPiece(piece, at, piece.end);
        piece.end = at;
        return second;
    }

    void takeOut(Piece& piece) {
        piece.previous->next = piece.next;
        (piece.next ? piece.next->previous : _last) = piece.previous;
    }

    /// Puts the value in the place of the first characters of the piece and of those after it.
    void replace(Piece& piece, std::size_t length, const std::string& value) {
        if (piece.size() > length) split(piece, piece.begin + length);
        for (length -= piece.size(); length > 0;) {
            Piece& next = *piece.next;
            const std::size_t count = std::min(length, next.size());
            next.begin += count;
            length -= count;
            if (next.size() == 0) takeOut(next);
        }
        piece.begin = _characters.size();
        _characters += value;
        piece.end = _characters.size();
        findOccurrences(piece, piece.begin);
        if (piece.size() == 0) takeOut(piece);
    }

    /// Finds the occurrences that need a character of the piece from `begin` on, which are new, or
    /// that need what is before and behind them to stand together.
    void findOccurrences(Piece& piece, std::size_t begin) {
        const std::size_t end = piece.end;
        findPlainFromBefore({&piece, begin});
        for (std::size_t i = begin; i < end; ++i) {
            if (_characters[i] == '$') findPlain({&piece, i}, 0);
            if (_characters[i] == '}') findBraced({&piece, i + 1}, 0);
        }
        findBracedFromBehind({&piece, end});
        if (!_found.empty()) enterOccurrences();
    }

    /// Only the last '$' before the position can have a name that reaches further.
    void findPlainFromBefore(Cursor position) {
        Cursor cursor = position;
        char c = 0;
        for (std::size_t distance = 1; distance < _plain.longest(); ++distance) {
            if (!readBackwards(cursor, c)) return;
            if (c == '$') return findPlain(cursor, distance);
            if (!isNameCharacter(c)) return;
        }
    }

    /// Only the first '}' behind the position can end a reference that starts before it.
    void findBracedFromBehind(Cursor position) {
        Cursor cursor = position;
        char c = 0;
        for (std::size_t distance = 1; distance < _braced.longest(); ++distance) {
            if (!readForwards(cursor, c)) return;
            if (c == '}') return findBraced(cursor, distance);
        }
    }

    void findPlain(Cursor dollar, std::size_t minimum) {
        Cursor cursor = dollar;
        _plain.find(
            minimum, [&](char& c) { return readForwards(cursor, c); },
            [&](Variable& variable) {
                _found.push_back({dollar, &variable});
            });
    }

    void findBraced(Cursor end, std::size_t minimum) {
        Cursor cursor = end;
        _braced.find(
            minimum, [&](char& c) { return readBackwards(cursor, c); },
            [&](Variable& variable) {
                _found.push_back({cursor, &variable});
            });
    }

    /// Lets each occurrence that was found start a piece, from the last one to the first, because a
    /// piece that is cut keeps its first part.
    void enterOccurrences() {
        std::sort(_found.begin(), _found.end(), [](const Occurrence& a, const Occurrence& b) {
            return a.start.piece != b.start.piece ? comesBefore(a.start.piece, b.start.piece)
                                                  : a.start.at < b.start.at;
        });
        Piece* later = nullptr;
        for (auto occurrence = _found.rbegin(); occurrence != _found.rend(); ++occurrence) {
            auto& [piece, at] = occurrence->start;
            if (later && later->begin == at) {
                piece = later;  // another variable at the same '$'
            } else if (piece->begin != at) {
                piece = &split(*piece, at);
            }
            later = piece;
        }
        for (const Occurrence& occurrence : _found)
            occurrence.variable->occurrences.push(*occurrence.start.piece);
        _found.clear();
    }

    std::string _characters;  ///< all that ever were in the text, in the order of their coming
    std::deque<Piece> _pieces;
    Piece _head;  ///< stays empty
    Piece* _last = &_head;
    VariableIndex _plain{VariableIndex::Direction::Forwards};
    VariableIndex _braced{VariableIndex::Direction::Backwards};
    std::vector<Occurrence> _found;
};

/// The variables that are set, by the references to them in a text.
class VariableTable {
public:
    explicit VariableTable(std::string_view text) {
        ReferenceScanner scanner(text);
        Reference reference;
        while (scanner.next(reference)) {
            const auto [entry, isNew] = _byReference.emplace(reference.text, nullptr);
            std::string value;
            if (!isNew || !za::os::environmentValue(std::string(reference.name), value)) continue;
            _set.push_back({reference.text, std::move(value), {}});
            entry->second = &_set.back();
        }
    }

    std::deque<Variable>& all() { return _set; }
    Variable* find(const Reference& reference) const { return _byReference.at(reference.text); }

private:
    std::unordered_map<std::string_view, Variable*> _byReference;
    std::deque<Variable> _set;
};

}  // namespace

std::string zaUtils::expandEnvironment(const std::string& text) {
    VariableTable variables(text);
    if (variables.all().empty()) return text;

    DoneText done(variables.all());
    ReferenceScanner scanner(text);
    Reference reference;
    std::size_t position = 0;
    while (scanner.next(reference)) {
        const std::string_view before =
            std::string_view(text).substr(position, reference.begin - position);
        position = reference.end;
        done.append(before);
        Variable* variable = variables.find(reference);
        const bool isCurrent = variable && !done.replaceFirst(*variable);
        done.append(isCurrent ? std::string_view(variable->value) : reference.text);
    }
    done.append(std::string_view(text).substr(position));
    return done.take();
}
