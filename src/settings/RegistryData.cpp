#include "settings/RegistryData.h"

#include "startup/Codepage.h"
#include "startup/TextHelpers.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <utility>

namespace marlindex {

namespace {

struct RootName {
    RegistryRoot root;
    std::string_view name;
};

constexpr std::array<RootName, 5> kRootNames = {{
    {RegistryRoot::ClassesRoot, "HKEY_CLASSES_ROOT"},
    {RegistryRoot::CurrentUser, "HKEY_CURRENT_USER"},
    {RegistryRoot::LocalMachine, "HKEY_LOCAL_MACHINE"},
    {RegistryRoot::Users, "HKEY_USERS"},
    {RegistryRoot::CurrentConfig, "HKEY_CURRENT_CONFIG"},
}};

constexpr std::string_view kHeader = "REGEDIT4";
constexpr std::string_view kBom = "\xEF\xBB\xBF";
constexpr std::string_view kLineEnd = "\r\n";
// Hex data is wrapped like the registry editor wraps it, so long values stay readable.
constexpr std::size_t kHexLineWidth = 76;

bool IsBlank(char c) {
    return c == ' ' || c == '\t';
}

std::string_view Trim(std::string_view text) {
    while (!text.empty() && IsBlank(text.front())) {
        text.remove_prefix(1);
    }
    while (!text.empty() && IsBlank(text.back())) {
        text.remove_suffix(1);
    }
    return text;
}

bool StartsWithIgnoreCase(std::string_view text, std::string_view prefix) {
    return text.size() >= prefix.size() && EqualsIgnoreCase(text.substr(0, prefix.size()), prefix);
}

int HexDigitValue(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'a' && c <= 'f') {
        return c - 'a' + 10;
    }
    if (c >= 'A' && c <= 'F') {
        return c - 'A' + 10;
    }
    return -1;
}

// 1 to 8 hex digits and nothing else.
std::optional<std::uint32_t> ParseHex32(std::string_view digits) {
    if (digits.empty() || digits.size() > 8) {
        return std::nullopt;
    }
    std::uint32_t result = 0;
    for (char c : digits) {
        const int digit = HexDigitValue(c);
        if (digit < 0) {
            return std::nullopt;
        }
        result = (result << 4) | static_cast<std::uint32_t>(digit);
    }
    return result;
}

void AppendHex(std::string& out, std::uint32_t number, int minDigits) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    std::array<char, 8> buffer{};
    int count = 0;
    do {
        buffer[static_cast<std::size_t>(count++)] = kDigits[number & 0xFu];
        number >>= 4;
    } while (number != 0 && count < 8);
    while (count < minDigits) {
        buffer[static_cast<std::size_t>(count++)] = '0';
    }
    while (count > 0) {
        out += buffer[static_cast<std::size_t>(--count)];
    }
}

// A piece of the file quoted in a message as every reader quotes: the code page's letters
// turned into UTF-8, control bytes escaped, cut at 60 characters. One byte is one character
// here, so a cut before the conversion never splits one.
std::string Excerpt(std::string_view text) {
    constexpr std::size_t kShown = 60;
    return QuoteExcerpt(Cp1252ToUtf8(text.substr(0, kShown + 1)), kShown);
}

// Splits a key path into its non-empty segments, refusing what the registry refuses.
bool SplitKeyPath(std::string_view path, std::vector<std::string_view>& segments,
                  std::string* why) {
    segments.clear();
    while (!path.empty()) {
        const std::size_t end = std::min(path.find('\\'), path.size());
        const std::string_view segment = path.substr(0, end);
        path.remove_prefix(std::min(end + 1, path.size()));
        if (segment.empty()) {
            continue;
        }
        if (segment.size() > kMaxKeyNameLength) {
            if (why != nullptr) {
                *why = "the key name " + Excerpt(segment) + " is longer than " +
                       std::to_string(kMaxKeyNameLength) + " characters";
            }
            return false;
        }
        if (segment.find_first_of(std::string_view("\0\r\n", 3)) != std::string_view::npos) {
            if (why != nullptr) {
                *why = "a key name holds a line break or NUL";
            }
            return false;
        }
        if (segments.size() == kMaxKeyDepth) {
            if (why != nullptr) {
                *why = "the key path is deeper than " + std::to_string(kMaxKeyDepth) + " levels";
            }
            return false;
        }
        segments.push_back(segment);
    }
    return true;
}

bool IsWritableName(std::string_view name) {
    return name.find_first_of(std::string_view("\0\r\n", 3)) == std::string_view::npos;
}

void AppendQuoted(std::string& out, std::string_view text) {
    out += '"';
    for (char c : text) {
        if (c == '\\' || c == '"') {
            out += '\\';
        }
        out += c;
    }
    out += '"';
}

// A REG_SZ that reads back identically from quoted text: exactly one NUL, at the end, and
// nothing a line of the file could not carry or that an editor might change.
bool FitsQuotedText(const RegistryValue& value) {
    if (value.type != kRegString || value.data.empty() || value.data.back() != '\0') {
        return false;
    }
    const std::string_view text(value.data.data(), value.data.size() - 1);
    return std::none_of(text.begin(), text.end(), [](char c) {
        const auto byte = static_cast<unsigned char>(c);
        return byte < 0x20 || byte == 0x7F;
    });
}

void AppendValue(std::string& out, std::string_view name, const RegistryValue& value) {
    const std::size_t lineStart = out.size();
    if (name.empty()) {
        out += '@';
    } else {
        AppendQuoted(out, name);
    }
    out += '=';
    if (FitsQuotedText(value)) {
        AppendQuoted(out, std::string_view(value.data).substr(0, value.data.size() - 1));
    } else if (value.type == kRegDWord && value.data.size() == 4) {
        std::uint32_t number = 0;
        for (std::size_t i = 4; i-- > 0;) {
            number = (number << 8) | static_cast<unsigned char>(value.data[i]);
        }
        out += "dword:";
        AppendHex(out, number, 8);
    } else {
        constexpr std::uint32_t kRegBinary = 3;
        if (value.type == kRegBinary) {
            out += "hex:";
        } else {
            out += "hex(";
            AppendHex(out, value.type, 1);
            out += "):";
        }
        std::size_t column = out.size() - lineStart;
        for (std::size_t i = 0; i < value.data.size(); ++i) {
            const std::size_t width = i + 1 < value.data.size() ? 3 : 2;
            if (column + width > kHexLineWidth && column > 2) {
                out += "\\";
                out += kLineEnd;
                out += "  ";
                column = 2;
            }
            AppendHex(out, static_cast<unsigned char>(value.data[i]), 2);
            if (width == 3) {
                out += ',';
            }
            column += width;
        }
    }
    out += kLineEnd;
}

// Lines of the file, LF or CR LF ended. The text has been checked for stray CRs and NULs.
class LineReader {
public:
    explicit LineReader(std::string_view text) : text_(text) {}

    bool Next(std::string_view& line) {
        if (pos_ >= text_.size()) {
            return false;
        }
        const std::size_t end = std::min(text_.find('\n', pos_), text_.size());
        line = text_.substr(pos_, end - pos_);
        if (!line.empty() && line.back() == '\r') {
            line.remove_suffix(1);
        }
        pos_ = end + 1;
        ++number_;
        return true;
    }

    std::size_t number() const { return number_; }

private:
    std::string_view text_;
    std::size_t pos_ = 0;
    std::size_t number_ = 0;
};

// Where the text could not be understood: the line, and what was wrong there.
struct RegistryTextError {
    std::size_t line = 0;
    std::string what;
};

// The first NUL or CR that is not part of a line end: such a byte can only come from damage,
// and letting it through would make a line mean something else than it shows.
std::optional<RegistryTextError> FindStrayByte(std::string_view text) {
    std::size_t line = 1;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (c == '\n') {
            ++line;
        } else if (c == '\0') {
            return RegistryTextError{line, "NUL byte in the text"};
        } else if (c == '\r' && (i + 1 == text.size() || text[i + 1] != '\n')) {
            return RegistryTextError{line, "carriage return in the middle of a line"};
        }
    }
    return std::nullopt;
}

// Reads "..." at `pos` (which is at the opening quote) and leaves `pos` after the closing one.
std::optional<std::string> ReadQuoted(std::string_view line, std::size_t& pos, std::string& why) {
    std::string text;
    for (std::size_t i = pos + 1; i < line.size(); ++i) {
        const char c = line[i];
        if (c == '"') {
            pos = i + 1;
            return text;
        }
        if (c == '\\') {
            if (i + 1 == line.size()) {
                break;
            }
            const char escaped = line[++i];
            if (escaped != '\\' && escaped != '"') {
                why = "unknown escape " + Excerpt(line.substr(i - 1, 2)) +
                      " in quoted text (only \\\\ and \\\" are allowed)";
                return std::nullopt;
            }
            text += escaped;
        } else {
            text += c;
        }
    }
    why = "quoted text " + Excerpt(line.substr(pos)) + " has no closing quote";
    return std::nullopt;
}

// Comma-separated two-digit hex bytes, continued onto the next line by a final backslash.
bool ReadHexBytes(std::string_view first, LineReader& lines, std::string& bytes,
                  RegistryTextError& error) {
    std::string_view piece = first;
    bool expectByte = true;
    bool anyComma = false;
    for (;;) {
        piece = Trim(piece);
        bool continued = false;
        if (!piece.empty() && piece.back() == '\\') {
            continued = true;
            piece.remove_suffix(1);
        }
        for (std::size_t i = 0; i < piece.size(); ++i) {
            const char c = piece[i];
            if (IsBlank(c)) {
                continue;
            }
            if (c == ',') {
                if (expectByte) {
                    error = {lines.number(), "hex data has an empty byte between commas"};
                    return false;
                }
                expectByte = true;
                anyComma = true;
                continue;
            }
            if (HexDigitValue(c) < 0) {
                error = {lines.number(),
                         "hex data holds " + Excerpt(piece.substr(i, 1)) + ", not a hex digit"};
                return false;
            }
            if (i + 1 >= piece.size() || HexDigitValue(piece[i + 1]) < 0) {
                error = {lines.number(), "hex data holds a byte that is not two hex digits"};
                return false;
            }
            if (i + 2 < piece.size() && HexDigitValue(piece[i + 2]) >= 0) {
                error = {lines.number(), "hex data holds a byte of more than two hex digits"};
                return false;
            }
            if (!expectByte) {
                error = {lines.number(), "hex data lacks a comma between two bytes"};
                return false;
            }
            bytes += static_cast<char>(HexDigitValue(c) * 16 + HexDigitValue(piece[i + 1]));
            expectByte = false;
            ++i;
        }
        if (!continued) {
            break;
        }
        if (!lines.Next(piece)) {
            error = {lines.number(), "hex data continues past the end of the file"};
            return false;
        }
    }
    if (expectByte && anyComma) {
        error = {lines.number(), "hex data ends with a comma: the value is cut short"};
        return false;
    }
    return true;
}

// One `name=data` line (and its continuation lines).
bool ParseValueLine(std::string_view line, LineReader& lines, std::string& name,
                    RegistryValue& value, RegistryTextError& error) {
    const auto fail = [&](std::string what) {
        error = {lines.number(), std::move(what)};
        return false;
    };
    std::size_t pos = 0;
    if (line.front() == '@') {
        name.clear();
        pos = 1;
    } else if (line.front() == '"') {
        std::string why;
        auto quoted = ReadQuoted(line, pos, why);
        if (!quoted) {
            return fail(why);
        }
        name = std::move(*quoted);
    } else {
        return fail("expected a section ([...]) or a value (\"name\"=...), found " + Excerpt(line));
    }
    std::string_view rest = Trim(line.substr(pos));
    if (rest.empty() || rest.front() != '=') {
        return fail("expected \"=\" after the value name");
    }
    rest = Trim(rest.substr(1));

    if (!rest.empty() && rest.front() == '"') {
        std::size_t end = 0;
        std::string why;
        auto text = ReadQuoted(rest, end, why);
        if (!text) {
            return fail(why);
        }
        if (!Trim(rest.substr(end)).empty()) {
            return fail("unexpected " + Excerpt(Trim(rest.substr(end))) +
                        " after the closing quote");
        }
        value = {kRegString, std::move(*text) + '\0'};
        return true;
    }
    if (rest == "-") {
        return fail("value deletion (\"name\"=-) is not supported in a settings file");
    }
    if (StartsWithIgnoreCase(rest, "dword:")) {
        // The registry editor always writes eight digits; fewer means the line was cut short,
        // and reading "0000001" as 1 would hide that.
        const std::string_view digits = rest.substr(6);
        const auto number = digits.size() == 8 ? ParseHex32(digits) : std::nullopt;
        if (!number) {
            return fail("dword value " + Excerpt(digits) +
                        " is not eight hex digits (the line may be cut short)");
        }
        value.type = kRegDWord;
        value.data.clear();
        for (int shift = 0; shift < 32; shift += 8) {
            value.data += static_cast<char>((*number >> shift) & 0xFFu);
        }
        return true;
    }
    if (StartsWithIgnoreCase(rest, "hex:")) {
        value.type = 3;
        rest.remove_prefix(4);
    } else if (StartsWithIgnoreCase(rest, "hex(")) {
        const std::size_t close = rest.find("):");
        const auto type =
            close == std::string_view::npos ? std::nullopt : ParseHex32(rest.substr(4, close - 4));
        if (!type) {
            return fail("value type " + Excerpt(rest) + " is not hex(N): with N in hex");
        }
        value.type = *type;
        rest.remove_prefix(close + 2);
    } else {
        return fail("value data " + Excerpt(rest) +
                    " is neither quoted text, dword: nor hex: (the line may be cut short)");
    }
    value.data.clear();
    return ReadHexBytes(rest, lines, value.data, error);
}

} // namespace

std::optional<RegistryRoot> RegistryRootFromName(std::string_view name) {
    for (const auto& entry : kRootNames) {
        if (EqualsIgnoreCase(entry.name, name)) {
            return entry.root;
        }
    }
    return std::nullopt;
}

std::string_view RegistryRootName(RegistryRoot root) {
    for (const auto& entry : kRootNames) {
        if (entry.root == root) {
            return entry.name;
        }
    }
    return {};
}

const RegistryData::Key* RegistryData::FindKey(RegistryRoot root, std::string_view path) const {
    std::vector<std::string_view> segments;
    if (!SplitKeyPath(path, segments, nullptr)) {
        return nullptr;
    }
    const auto rootIt = std::find_if(roots_.begin(), roots_.end(),
                                     [root](const Root& r) { return r.root == root; });
    if (rootIt == roots_.end()) {
        return nullptr;
    }
    const Key* key = &rootIt->key;
    for (std::string_view segment : segments) {
        const auto it = key->subkeys.find(ToLowerAscii(segment));
        if (it == key->subkeys.end()) {
            return nullptr;
        }
        key = &it->second;
    }
    return key;
}

RegistryData::Key* RegistryData::FindOrCreateKey(RegistryRoot root, std::string_view path) {
    std::vector<std::string_view> segments;
    if (!SplitKeyPath(path, segments, nullptr)) {
        return nullptr;
    }
    return FindOrCreateKey(root, segments);
}

RegistryData::Key* RegistryData::FindOrCreateKey(RegistryRoot root,
                                                 const std::vector<std::string_view>& segments) {
    if (RegistryRootName(root).empty()) {
        return nullptr;
    }
    auto rootIt = std::lower_bound(roots_.begin(), roots_.end(), root,
                                   [](const Root& r, RegistryRoot x) { return r.root < x; });
    if (rootIt == roots_.end() || rootIt->root != root) {
        rootIt = roots_.insert(rootIt, Root{root, Key{}});
    }
    Key* key = &rootIt->key;
    // One buffer for the lower-case names: a file of many keys reads them without allocating
    // for every segment of every path.
    std::string folded;
    for (std::string_view segment : segments) {
        folded.assign(segment);
        for (char& c : folded) {
            c = ToLowerAscii(c);
        }
        auto it = key->subkeys.lower_bound(folded);
        if (it == key->subkeys.end() || it->first != folded) {
            it = key->subkeys.emplace_hint(it, folded, Key{});
            it->second.name = std::string(segment);
        }
        key = &it->second;
    }
    return key;
}

const RegistryData::NamedValue* RegistryData::FindValue(const Key& key, std::string_view name) {
    const auto it = key.valueIndex.find(ToLowerAscii(name));
    return it == key.valueIndex.end() ? nullptr : &key.values[it->second];
}

void RegistryData::SetValue(Key& key, std::string_view name, const RegistryValue& value) {
    const auto [it, added] = key.valueIndex.try_emplace(ToLowerAscii(name), key.values.size());
    if (added) {
        key.values.push_back({std::string(name), value});
    } else {
        key.values[it->second].value = value;
    }
}

std::optional<RegistryValue> RegistryData::Read(RegistryRoot root, std::string_view path,
                                                std::string_view name) const {
    const Key* key = FindKey(root, path);
    if (key == nullptr) {
        return std::nullopt;
    }
    if (const NamedValue* found = FindValue(*key, name)) {
        return found->value;
    }
    return std::nullopt;
}

bool RegistryData::Write(RegistryRoot root, std::string_view path, std::string_view name,
                         const RegistryValue& value) {
    if (!IsWritableName(name)) {
        return false;
    }
    Key* key = FindOrCreateKey(root, path);
    if (key == nullptr) {
        return false;
    }
    SetValue(*key, name, value);
    return true;
}

bool RegistryData::Remove(RegistryRoot root, std::string_view path, std::string_view name) {
    // FindKey is the one lookup; the tree it points into is this object's own.
    Key* key = const_cast<Key*>(FindKey(root, path));
    if (key == nullptr) {
        return false;
    }
    const auto found = key->valueIndex.find(ToLowerAscii(name));
    if (found == key->valueIndex.end()) {
        return false;
    }
    const std::size_t position = found->second;
    key->values.erase(key->values.begin() + static_cast<std::ptrdiff_t>(position));
    key->valueIndex.erase(found);
    for (auto& [folded, index] : key->valueIndex) {
        if (index > position) {
            --index;
        }
    }
    return true;
}

bool RegistryData::CreateKey(RegistryRoot root, std::string_view path) {
    return FindOrCreateKey(root, path) != nullptr;
}

bool RegistryData::HasKey(RegistryRoot root, std::string_view path) const {
    return FindKey(root, path) != nullptr;
}

std::vector<std::string> RegistryData::ValueNames(RegistryRoot root, std::string_view path) const {
    std::vector<std::string> names;
    if (const Key* key = FindKey(root, path)) {
        for (const auto& v : key->values) {
            names.push_back(v.name);
        }
    }
    return names;
}

void RegistryData::WriteKey(std::string& out, const Key& key, std::string& path) {
    const std::size_t parentLength = path.size();
    path += '\\';
    path += key.name;
    out += '[';
    out += path;
    out += ']';
    out += kLineEnd;
    for (const auto& v : key.values) {
        AppendValue(out, v.name, v.value);
    }
    out += kLineEnd;
    for (const auto& [folded, subkey] : key.subkeys) {
        WriteKey(out, subkey, path);
    }
    path.resize(parentLength);
}

std::string RegistryData::ToRegedit4() const {
    std::string out(kHeader);
    out += kLineEnd;
    out += kLineEnd;
    for (const auto& root : roots_) {
        std::string path(RegistryRootName(root.root));
        // The root itself appears only when it holds values; its subkeys say it exists.
        if (!root.key.values.empty()) {
            out += '[' + path + ']';
            out += kLineEnd;
            for (const auto& v : root.key.values) {
                AppendValue(out, v.name, v.value);
            }
            out += kLineEnd;
        }
        for (const auto& [folded, subkey] : root.key.subkeys) {
            WriteKey(out, subkey, path);
        }
    }
    return out;
}

Result<RegistryData> RegistryData::FromRegedit4(std::string_view text) {
    RegistryTextError failure;
    const auto fail = [](RegistryTextError e) -> Result<RegistryData> {
        return Problem{ProblemKind::BadInput, Place::AtLine(e.line), std::move(e.what)};
    };
    if (text.substr(0, kBom.size()) == kBom) {
        text.remove_prefix(kBom.size());
    }
    if (auto stray = FindStrayByte(text)) {
        return fail(std::move(*stray));
    }

    RegistryData data;
    LineReader lines(text);
    std::string_view raw;
    bool headerSeen = false;
    Key* key = nullptr;
    while (lines.Next(raw)) {
        const std::string_view line = Trim(raw);
        if (line.empty() || line.front() == ';') {
            continue;
        }
        if (!headerSeen) {
            if (line != kHeader) {
                return fail({lines.number(), "the file does not start with \"REGEDIT4\" but with " +
                                                 Excerpt(line)});
            }
            headerSeen = true;
            continue;
        }
        if (line.front() == '[') {
            if (line.back() != ']' || line.size() < 2) {
                return fail({lines.number(), "section " + Excerpt(line) + " has no closing \"]\""});
            }
            const std::string_view inner = line.substr(1, line.size() - 2);
            if (!inner.empty() && inner.front() == '-') {
                return fail(
                    {lines.number(), "key deletion ([-...]) is not supported in a settings file"});
            }
            const std::size_t slash = std::min(inner.find('\\'), inner.size());
            const auto root = RegistryRootFromName(inner.substr(0, slash));
            if (!root) {
                return fail(
                    {lines.number(), "unknown root key " + Excerpt(inner.substr(0, slash))});
            }
            const std::string_view path = inner.substr(slash);
            std::vector<std::string_view> segments;
            std::string why;
            if (!SplitKeyPath(path, segments, &why)) {
                return fail({lines.number(), why});
            }
            key = data.FindOrCreateKey(*root, segments);
            continue;
        }
        if (key == nullptr) {
            return fail({lines.number(), "a value line comes before any [key] section"});
        }
        std::string name;
        RegistryValue value;
        if (!ParseValueLine(line, lines, name, value, failure)) {
            return fail(std::move(failure));
        }
        SetValue(*key, name, value);
    }
    return data;
}

} // namespace marlindex
