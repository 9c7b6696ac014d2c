#include "zaUtils/Diagnostics/Internal/ImageSymbols.h"

#include <cstring>

namespace za::diagnostics {

namespace {

/// A part of the image. What lies outside reads as zero, and the end is never passed.
class Bytes {
public:
    Bytes() = default;
    Bytes(const void* data, std::size_t size)
        : _data(static_cast<const unsigned char*>(data)), _size(size) {}

    std::size_t size() const { return _size; }
    bool empty() const { return _size == 0; }

    Bytes part(std::uint64_t offset, std::uint64_t size) const {
        if (offset > _size) return {};
        const std::uint64_t left = _size - offset;
        return {_data + offset, static_cast<std::size_t>(size < left ? size : left)};
    }

    template <typename T>
    T read(std::uint64_t offset) const {
        T value{};
        if (offset <= _size && sizeof(T) <= _size - offset) {
            std::memcpy(&value, _data + offset, sizeof(T));
        }
        return value;
    }

    /// A text that ends within this part; null otherwise.
    const char* text(std::uint64_t offset) const {
        if (offset >= _size) return nullptr;
        const unsigned char* start = _data + offset;
        return std::memchr(start, 0, static_cast<std::size_t>(_size - offset))
                   ? reinterpret_cast<const char*>(start)
                   : nullptr;
    }

private:
    const unsigned char* _data = nullptr;
    std::size_t _size = 0;
};

/// Reads one after the other.
class Cursor {
public:
    explicit Cursor(Bytes bytes, std::uint64_t position = 0) : _bytes(bytes), _position(position) {}

    bool atEnd() const { return _position >= _bytes.size(); }
    std::uint64_t position() const { return _position; }
    void skip(std::uint64_t count) {
        const std::uint64_t left = atEnd() ? 0 : _bytes.size() - _position;
        _position += count < left ? count : left;
    }

    template <typename T>
    T get() {
        const T value = _bytes.read<T>(_position);
        skip(sizeof(T));
        return value;
    }
    std::uint64_t unsignedLeb() {
        std::uint64_t value = 0;
        for (unsigned shift = 0; !atEnd(); shift += 7) {
            const auto byte = get<std::uint8_t>();
            if (shift < 64) value |= std::uint64_t{byte & 0x7Fu} << shift;
            if ((byte & 0x80) == 0) break;
        }
        return value;
    }
    std::int64_t signedLeb() {
        std::uint64_t value = 0;
        unsigned shift = 0;
        std::uint8_t byte = 0;
        do {
            byte = get<std::uint8_t>();
            if (shift < 64) value |= std::uint64_t{byte & 0x7Fu} << shift;
            shift += 7;
        } while ((byte & 0x80) != 0 && !atEnd());
        if (shift < 64 && (byte & 0x40) != 0) value |= ~std::uint64_t{0} << shift;
        return static_cast<std::int64_t>(value);
    }
    const char* text() {
        const char* result = _bytes.text(_position);
        skip(result ? std::strlen(result) + 1 : _bytes.size());
        return result ? result : "";
    }
    /// An offset into another part.
    std::uint64_t offset(bool wide) { return wide ? get<std::uint64_t>() : get<std::uint32_t>(); }

private:
    Bytes _bytes;
    std::uint64_t _position;
};

/// The sections with the lines, and the address that the image was linked for.
struct Debug {
    Bytes lines;
    Bytes lineTexts;
    Bytes texts;
    std::uint64_t linkedAt = 0;
};

struct Queries {
    SymbolQuery* first;
    std::size_t count;
    std::uint64_t lowest = ~std::uint64_t{0};  ///< of all offsets
    std::uint64_t highest = 0;
    SymbolQuery* begin() const { return first; }
    SymbolQuery* end() const { return first + count; }
};

// --- lines ---

/// One table of line numbers and where its lists of directories and files are.
class LineUnit {
public:
    LineUnit(const Debug& debug, Bytes unit, bool wide) : _debug(debug), _unit(unit), _wide(wide) {}

    void answer(const Queries& queries) {
        if (!readHeader()) return;
        run(queries);
    }

private:
    struct Row {
        std::uint64_t address = 0;
        std::uint64_t file = 1;
        std::uint64_t line = 1;
    };

    /// How an entry of a list is made, in version 5.
    struct Format {
        static constexpr unsigned kMost = 8;
        unsigned count = 0;
        std::uint64_t content[kMost] = {};
        std::uint64_t form[kMost] = {};
    };

    struct Entry {
        const char* name = nullptr;
        std::uint64_t directory = 0;
    };

    bool readHeader() {
        Cursor c(_unit);
        _version = c.get<std::uint16_t>();
        if (_version < 2 || _version > 5) return false;
        if (_version == 5) c.skip(2);  // sizes of an address and of a segment
        const std::uint64_t length = c.offset(_wide);
        _program = c.position() + length;
        _minimumInstruction = c.get<std::uint8_t>();
        if (_version >= 4) c.skip(1);  // operations of an instruction
        c.skip(1);                     // whether lines are statements at first
        const int lineBase = c.get<std::uint8_t>();
        _lineBase = lineBase < 128 ? lineBase : lineBase - 256;
        _lineRange = c.get<std::uint8_t>();
        _opcodeBase = c.get<std::uint8_t>();
        _operandCounts = c.position();
        c.skip(_opcodeBase > 0 ? _opcodeBase - 1u : 0u);
        _lists = c.position();
        return _lineRange != 0 && length <= _unit.size();
    }

    void run(const Queries& queries) {
        Cursor c(_unit, _program);
        Row row;
        Row before;
        bool inSequence = false;
        bool isDead = false;  // the linker has left it out, and its addresses at nothing
        const auto addRow = [&] {
            if (inSequence && !isDead) match(queries, before, row.address);
            before = row;
            inSequence = true;
        };
        while (!c.atEnd()) {
            const auto opcode = c.get<std::uint8_t>();
            if (opcode >= _opcodeBase) {
                const unsigned step = opcode - _opcodeBase;
                row.address += std::uint64_t{step / _lineRange} * _minimumInstruction;
                row.line += static_cast<std::uint64_t>(
                    std::int64_t{_lineBase} + static_cast<std::int64_t>(step % _lineRange));
                addRow();
            } else if (opcode == 0) {
                const std::uint64_t length = c.unsignedLeb();
                Cursor extended(_unit, c.position());
                const auto kind = extended.get<std::uint8_t>();
                if (kind == 2) {
                    row.address = extended.get<std::uint64_t>();
                    isDead = row.address == 0 || row.address == ~std::uint64_t{0};
                }
                if (kind == 1) {
                    addRow();
                    row = {};
                    inSequence = false;
                }
                c.skip(length);
            } else {
                runStandard(c, opcode, row, addRow);
            }
        }
    }

    template <typename AddRow>
    void runStandard(Cursor& c, unsigned opcode, Row& row, AddRow addRow) {
        switch (opcode) {
            case 1:
                addRow();
                break;
            case 2:
                row.address += c.unsignedLeb() * _minimumInstruction;
                break;
            case 3:
                row.line += static_cast<std::uint64_t>(c.signedLeb());
                break;
            case 4:
                row.file = c.unsignedLeb();
                break;
            case 8:
                row.address +=
                    std::uint64_t{(255u - _opcodeBase) / _lineRange} * _minimumInstruction;
                break;
            case 9:
                row.address += c.get<std::uint16_t>();
                break;
            default:
                for (auto n = _unit.read<std::uint8_t>(_operandCounts + opcode - 1); n > 0; --n)
                    c.unsignedLeb();
        }
    }

    void match(const Queries& queries, const Row& row, std::uint64_t end) const {
        // Most rows lie outside of what is asked for.
        if (end <= _debug.linkedAt + queries.lowest) return;
        if (row.address > _debug.linkedAt + queries.highest) return;
        for (SymbolQuery& query : queries) {
            const std::uint64_t address = _debug.linkedAt + query.offset;
            if (address < row.address || address >= end || query.file) continue;
            const Entry file = _version == 5 ? fileOfVersion5(row.file) : fileOfVersion2(row.file);
            if (!file.name) continue;
            query.file = file.name;
            query.line = static_cast<std::uint32_t>(row.line);
            const bool isAbsolute = file.name[0] == '/' || (file.name[0] && file.name[1] == ':');
            if (!isAbsolute) query.directory = directory(file.directory);
        }
    }

    // Until version 4: texts up to an empty one, and files counted from 1.

    Entry fileOfVersion2(std::uint64_t index) const {
        Cursor c(_unit, _lists);
        while (*c.text() != '\0') {
        }
        for (std::uint64_t i = 1; !c.atEnd(); ++i) {
            const char* name = c.text();
            if (*name == '\0') break;
            const std::uint64_t directoryIndex = c.unsignedLeb();
            c.unsignedLeb();  // time
            c.unsignedLeb();  // length
            if (i == index) return {name, directoryIndex};
        }
        return {};
    }

    const char* directory(std::uint64_t index) const {
        Cursor c(_unit, _lists);
        if (_version == 5) return entryOfVersion5(c, index).name;
        for (std::uint64_t i = 1; !c.atEnd(); ++i) {
            const char* name = c.text();
            if (*name == '\0') break;
            if (i == index) return name;
        }
        return nullptr;  // 0: where the compiler ran, which is written elsewhere
    }

    Entry fileOfVersion5(std::uint64_t index) const {
        Cursor c(_unit, _lists);
        entryOfVersion5(c, ~std::uint64_t{0});
        return entryOfVersion5(c, index);
    }

    /// Reads one of the two lists, to its end if there is no such entry.
    Entry entryOfVersion5(Cursor& c, std::uint64_t index) const {
        Format format;
        format.count = c.get<std::uint8_t>();
        if (format.count == 0 || format.count > Format::kMost) return {};
        for (unsigned i = 0; i < format.count; ++i) {
            format.content[i] = c.unsignedLeb();
            format.form[i] = c.unsignedLeb();
        }
        const std::uint64_t count = c.unsignedLeb();
        for (std::uint64_t i = 0; i < count && !c.atEnd(); ++i) {
            const Entry entry = readEntry(c, format);
            if (i == index) return entry;
        }
        return {};
    }

    Entry readEntry(Cursor& c, const Format& format) const {
        constexpr std::uint64_t kPath = 1;
        constexpr std::uint64_t kDirectory = 2;
        Entry entry;
        for (unsigned i = 0; i < format.count; ++i) {
            std::uint64_t number = 0;
            const char* text = readForm(c, format.form[i], number);
            if (format.content[i] == kPath) entry.name = text;
            if (format.content[i] == kDirectory) entry.directory = number;
        }
        return entry;
    }

    const char* readForm(Cursor& c, std::uint64_t form, std::uint64_t& number) const {
        switch (form) {
            case 0x08:  // text in place
                return c.text();
            case 0x0E:  // text elsewhere
                return _debug.texts.text(c.offset(_wide));
            case 0x1F:
                return _debug.lineTexts.text(c.offset(_wide));
            case 0x0B:
                number = c.get<std::uint8_t>();
                return nullptr;
            case 0x05:
                number = c.get<std::uint16_t>();
                return nullptr;
            case 0x06:
                number = c.get<std::uint32_t>();
                return nullptr;
            case 0x0F:
                number = c.unsignedLeb();
                return nullptr;
            case 0x1E:  // a checksum
                c.skip(16);
                return nullptr;
            default:
                c.skip(~std::uint64_t{0});  // nothing can be read after what is unknown
                return nullptr;
        }
    }

    const Debug& _debug;
    Bytes _unit;
    bool _wide;
    unsigned _version = 0;
    std::uint64_t _program = 0;
    unsigned _minimumInstruction = 1;
    int _lineBase = 0;
    unsigned _lineRange = 0;
    unsigned _opcodeBase = 0;
    std::uint64_t _operandCounts = 0;
    std::uint64_t _lists = 0;
};

void findLines(const Debug& debug, const Queries& queries) {
    Cursor c(debug.lines);
    while (!c.atEnd()) {
        std::uint64_t length = c.get<std::uint32_t>();
        const bool wide = length == 0xFFFFFFFF;
        if (wide) length = c.get<std::uint64_t>();
        if (length == 0) break;
        LineUnit(debug, debug.lines.part(c.position(), length), wide).answer(queries);
        c.skip(length);
    }
}

/// Takes a function's symbol for those queries that it is the nearest one below of.
void offer(const Queries& queries, std::uint64_t* starts, std::uint64_t start, std::uint64_t size,
           const char* name) {
    if (!name || *name == '\0' || start > queries.highest) return;
    if (size != 0 && start + size <= queries.lowest) return;
    for (std::size_t i = 0; i < queries.count; ++i) {
        SymbolQuery& query = queries.first[i];
        if (query.offset < start || (size != 0 && query.offset >= start + size)) continue;
        if (query.symbol && starts[i] >= start) continue;
        query.symbol = name;
        starts[i] = start;
    }
}

constexpr std::size_t kMostQueries = 256;

// --- ELF ---

void readElf(Bytes image, const Queries& queries) {
    struct Section {
        std::uint32_t name, type;
        std::uint64_t flags, address, offset, size;
        std::uint32_t link, info;
        std::uint64_t alignment, entrySize;
    };
    constexpr std::uint32_t kSymbols = 2;
    constexpr std::uint32_t kDynamicSymbols = 11;
    constexpr std::uint64_t kCompressed = 0x800;
    if (image.read<std::uint8_t>(4) != 2) return;  // 64 bits
    const auto table = image.read<std::uint64_t>(0x28);
    const auto count = image.read<std::uint16_t>(0x3C);
    const auto section = [&](std::uint64_t i) { return image.read<Section>(table + i * 64); };
    const auto content = [&](const Section& s) { return image.part(s.offset, s.size); };
    const Section names = section(image.read<std::uint16_t>(0x3E));

    Debug debug;
    const auto segments = image.read<std::uint64_t>(0x20);
    for (unsigned i = 0; i < image.read<std::uint16_t>(0x38); ++i) {
        const std::uint64_t segment = segments + std::uint64_t{i} * 56;
        if (image.read<std::uint32_t>(segment) != 1) continue;
        debug.linkedAt = image.read<std::uint64_t>(segment + 16) & ~std::uint64_t{0xFFF};
        break;
    }
    constexpr int kMostTables = 4;  // a sound file has two
    int tables = 0;
    std::uint64_t starts[kMostQueries] = {};
    for (unsigned i = 0; i < count; ++i) {
        const Section s = section(i);
        const char* name = content(names).text(s.name);
        if (name && (s.flags & kCompressed) == 0) {
            if (std::strcmp(name, ".debug_line") == 0) debug.lines = content(s);
            if (std::strcmp(name, ".debug_line_str") == 0) debug.lineTexts = content(s);
            if (std::strcmp(name, ".debug_str") == 0) debug.texts = content(s);
        }
        if (s.type != kSymbols && s.type != kDynamicSymbols) continue;
        if (++tables > kMostTables) continue;
        const Bytes symbols = content(s);
        const Bytes texts = content(section(s.link));
        for (std::uint64_t at = 0; at + 24 <= symbols.size(); at += 24) {
            const unsigned type = symbols.read<std::uint8_t>(at + 4) & 0xFu;
            const bool isDefined = symbols.read<std::uint16_t>(at + 6) != 0;
            if (!isDefined || (type != 2 && type != 10)) continue;  // functions
            const auto value = symbols.read<std::uint64_t>(at + 8);
            offer(queries, starts, value - debug.linkedAt, symbols.read<std::uint64_t>(at + 16),
                  texts.text(symbols.read<std::uint32_t>(at)));
        }
    }
    findLines(debug, queries);
}

// --- PE ---

/// A name of at most eight bytes in place, or an offset into the table of texts.
class CoffNames {
public:
    CoffNames(Bytes image, std::uint64_t texts) : _image(image), _texts(image.part(texts, ~0ull)) {}

    bool isSection(std::uint64_t header, const char* name) const {
        char stored[9] = {};
        for (unsigned i = 0; i < 8; ++i)
            stored[i] = _image.read<char>(header + i);
        if (stored[0] != '/') return std::strncmp(stored, name, 8) == 0;
        std::uint64_t offset = 0;
        for (const char* digit = stored + 1; *digit >= '0' && *digit <= '9'; ++digit)
            offset = offset * 10 + static_cast<std::uint64_t>(*digit - '0');
        const char* text = _texts.text(offset);
        return text && std::strcmp(text, name) == 0;
    }

    /// Null for a short name without an end, which functions do not have often.
    const char* symbol(std::uint64_t record) const {
        if (_image.read<std::uint32_t>(record) == 0) {
            return _texts.text(_image.read<std::uint32_t>(record + 4));
        }
        return _image.part(record, 8).text(0);
    }

private:
    Bytes _image;
    Bytes _texts;
};

/// The exported names of a file, for images without a table of symbols.
class Exports {
public:
    Exports(Bytes image, std::uint64_t sections, unsigned count)
        : _image(image), _sections(sections), _count(count) {}

    void offerTo(const Queries& queries, std::uint64_t* starts, std::uint32_t directory) const {
        const std::uint64_t table = fileOffset(directory);
        if (directory == 0 || table == 0) return;
        const std::uint64_t functions = fileOffset(_image.read<std::uint32_t>(table + 28));
        const std::uint64_t names = fileOffset(_image.read<std::uint32_t>(table + 32));
        const std::uint64_t ordinals = fileOffset(_image.read<std::uint32_t>(table + 36));
        const auto count = _image.read<std::uint32_t>(table + 24);
        for (std::uint64_t i = 0; i < count && names + i * 4 < _image.size(); ++i) {
            const auto ordinal = _image.read<std::uint16_t>(ordinals + i * 2);
            const auto start = _image.read<std::uint32_t>(functions + std::uint64_t{ordinal} * 4);
            offer(queries, starts, start, 0,
                  _image.text(fileOffset(_image.read<std::uint32_t>(names + i * 4))));
        }
    }

private:
    std::uint64_t fileOffset(std::uint32_t address) const {
        for (unsigned i = 0; i < _count; ++i) {
            const std::uint64_t header = _sections + std::uint64_t{i} * 40;
            const auto start = _image.read<std::uint32_t>(header + 12);
            const auto size = _image.read<std::uint32_t>(header + 16);
            if (address < start || address - start >= size) continue;
            return std::uint64_t{_image.read<std::uint32_t>(header + 20)} + (address - start);
        }
        return 0;
    }

    Bytes _image;
    std::uint64_t _sections;
    unsigned _count;
};

void readPe(Bytes image, const Queries& queries) {
    const std::uint64_t pe = image.read<std::uint32_t>(0x3C);
    if (image.read<std::uint32_t>(pe) != 0x00004550) return;
    const std::uint64_t optional = pe + 24;
    const unsigned sectionCount = image.read<std::uint16_t>(pe + 6);
    const std::uint64_t sections = optional + image.read<std::uint16_t>(pe + 20);
    const std::uint64_t symbols = image.read<std::uint32_t>(pe + 12);
    const std::uint64_t symbolCount = image.read<std::uint32_t>(pe + 16);
    const CoffNames names(image, symbols + symbolCount * 18);

    Debug debug;
    debug.linkedAt = image.read<std::uint64_t>(optional + 24);
    for (unsigned i = 0; i < sectionCount; ++i) {
        const std::uint64_t header = sections + std::uint64_t{i} * 40;
        const Bytes content = image.part(image.read<std::uint32_t>(header + 20),
                                         image.read<std::uint32_t>(header + 8));
        if (names.isSection(header, ".debug_line")) debug.lines = content;
        if (names.isSection(header, ".debug_line_str")) debug.lineTexts = content;
        if (names.isSection(header, ".debug_str")) debug.texts = content;
    }
    std::uint64_t starts[kMostQueries] = {};
    for (std::uint64_t i = 0; symbols != 0 && i < symbolCount; ++i) {
        const std::uint64_t record = symbols + i * 18;
        if (record >= image.size()) break;
        const auto section = image.read<std::int16_t>(record + 12);
        const std::uint64_t header = sections + static_cast<std::uint64_t>(section - 1) * 40;
        // A function, or an assembler's global label in code.
        const bool isFunction = image.read<std::uint16_t>(record + 14) == 0x20;
        const bool isGlobal = image.read<std::uint8_t>(record + 16) == 2;
        const bool isCode = section > 0 && (image.read<std::uint32_t>(header + 36) & 0x20) != 0;
        if (isCode && (isFunction || isGlobal)) {
            const std::uint64_t start = std::uint64_t{image.read<std::uint32_t>(header + 12)} +
                                        image.read<std::uint32_t>(record + 8);
            offer(queries, starts, start, 0, names.symbol(record));
        }
        i += image.read<std::uint8_t>(record + 17);
    }
    Exports(image, sections, sectionCount)
        .offerTo(queries, starts, image.read<std::uint32_t>(optional + 112));
    findLines(debug, queries);
}

}  // namespace

void findSymbols(const void* data, std::size_t size, SymbolQuery* queries, std::size_t count) {
    const Bytes image(data, size);
    for (; count > 0;) {
        const std::size_t some = count < kMostQueries ? count : kMostQueries;
        Queries asked{queries, some};
        for (const SymbolQuery& query : asked) {
            if (query.offset < asked.lowest) asked.lowest = query.offset;
            if (query.offset > asked.highest) asked.highest = query.offset;
        }
        if (image.read<std::uint32_t>(0) == 0x464C457F) readElf(image, asked);
        if (image.read<std::uint16_t>(0) == 0x5A4D) readPe(image, asked);
        queries += some;
        count -= some;
    }
}

}  // namespace za::diagnostics
