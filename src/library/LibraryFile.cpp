#include "library/LibraryFile.h"

#include "startup/AtomicFile.h"
#include "startup/Codepage.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cstdlib>
#include <limits>

namespace marlindex {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t kMaxTextBytes = 65535;

// Variant type codes as the file stores them.
enum VariantType : std::int16_t {
    kEmpty = 0,
    kNull = 1,
    kInteger = 2,
    kLong = 3,
    kSingle = 4,
    kDouble = 5,
    kString = 8,
    kBoolean = 11,
};

// A whole decimal number and nothing else ("12", "-3"); none for anything else.
std::optional<std::int32_t> ParseDecimal(std::string_view text) {
    std::int32_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (text.empty() || error != std::errc() || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return value;
}

// How the reader and writer stop at the first problem; turned into a Result at the boundary.
struct Stop {
    Problem problem;
};

// Where in the file a field lies, for messages: "formula 3 ("Dip"), row 2, field "row text"".
class RecordPlace {
public:
    void EnterFormula(std::size_t number) {
        record_ = "formula " + std::to_string(number);
        row_.clear();
    }
    void EnterFolder(std::size_t number) {
        record_ = "folder " + std::to_string(number);
        row_.clear();
    }
    void Named(const std::string& name) { record_ += " (" + QuoteExcerpt(name) + ")"; }
    void EnterRow(std::size_t number) { row_ = "row " + std::to_string(number); }
    void LeaveRow() { row_.clear(); }
    void LeaveRecord() {
        record_.clear();
        row_.clear();
    }

protected:
    std::string Describe(std::string_view field) const {
        std::string text;
        for (const std::string* part : {&record_, &row_}) {
            if (!part->empty()) {
                text += *part + ", ";
            }
        }
        return text + "field \"" + std::string(field) + "\"";
    }

private:
    std::string record_;
    std::string row_;
};

// The fields of each record in the order the file holds them. Reading and writing both walk
// these, so the two can never disagree about the layout.
template <class Io, class Row> void TransferRow(Io& io, Row& row) {
    io.Id(row.comparisonId, "comparison id");
    io.String(row.codePart1, "code part 1");
    io.String(row.codePart2, "code part 2");
    io.String(row.joiner, "joiner");
    io.Id(row.indicator1Id, "indicator 1 id");
    io.String(row.indicator1Option, "indicator 1 option");
    io.Int32(row.timePeriod1, "time period 1");
    io.Int16(row.modify1On, "modify 1 on");
    io.Double(row.modify1Amount, "modify 1 amount");
    io.String(row.modify1Operation, "modify 1 operation");
    io.String(row.comparisonType, "comparison type");
    io.Id(row.indicator2Id, "indicator 2 id");
    io.String(row.indicator2Option, "indicator 2 option");
    io.Int32(row.timePeriod2, "time period 2");
    io.Int16(row.modify2On, "modify 2 on");
    io.Double(row.modify2Amount, "modify 2 amount");
    io.String(row.modify2Operation, "modify 2 operation");
    io.String(row.modify2Unit, "modify 2 unit");
    io.Double(row.value, "value");
    io.Int16(row.rowNumber, "row number");
    io.Value(row.storedValue, "owner");
    io.String(row.rowText, "row text");
    io.Int16(row.leftBrackets, "left brackets");
    io.Int16(row.rightBrackets, "right brackets");
}

template <class Io, class Folder> void TransferFolder(Io& io, Folder& folder) {
    io.String(folder.name, "name");
    io.Named(folder.name);
    io.Int32(folder.id, "id");
}

template <class Io, class Formula> void TransferFormula(Io& io, Formula& formula) {
    io.Int32(formula.number, "number");
    io.Int32(formula.rowCount, "row count");
    io.Int16(formula.applyTo, "apply-to");
    io.Int16(formula.rangeMode, "range mode");
    io.Int32(formula.rangeCount, "range count");
    io.Int16(formula.analysisType, "analysis type");
    io.String(formula.folder, "folder");
    io.String(formula.name, "name");
    io.Named(formula.name);
    io.String(formula.description, "description");
    io.String(formula.formulaText, "formula text");
    io.String(formula.conditionCode, "condition code");
    io.String(formula.filter, "filter");
    io.Rows(formula.rows, formula.rowsLowerBound);
}

class Writer : public RecordPlace {
public:
    void Int16(std::int16_t value, std::string_view) { Put(static_cast<std::uint16_t>(value), 2); }
    void Int32(std::int32_t value, std::string_view) { Put(static_cast<std::uint32_t>(value), 4); }
    void Double(double value, std::string_view) { Put(std::bit_cast<std::uint64_t>(value), 8); }

    void String(const std::string& text, std::string_view field) {
        CodepageError problem;
        const std::optional<std::string> bytes = Utf8ToCp1252(text, &problem);
        if (!bytes) {
            const auto position =
                DecodeText(std::string_view(text).substr(0, problem.offset)).size();
            Refuse(field, problem.what + " (character " + std::to_string(position + 1) +
                              "); the library file holds Windows-1252 text only");
        }
        if (bytes->size() > kMaxTextBytes) {
            Refuse(field, "the text is " + std::to_string(bytes->size()) +
                              " bytes long; the library file holds at most 65,535 bytes per text");
        }
        Put(bytes->size(), 2);
        out_ += *bytes;
    }

    void Value(const Variant& value, std::string_view field) {
        if (std::holds_alternative<VariantEmpty>(value)) {
            Int16(kEmpty, field);
        } else if (std::holds_alternative<VariantNull>(value)) {
            Int16(kNull, field);
        } else if (const auto* integer = std::get_if<std::int16_t>(&value)) {
            Int16(kInteger, field);
            Int16(*integer, field);
        } else if (const auto* longValue = std::get_if<std::int32_t>(&value)) {
            Int16(kLong, field);
            Int32(*longValue, field);
        } else if (const auto* single = std::get_if<float>(&value)) {
            Int16(kSingle, field);
            Put(std::bit_cast<std::uint32_t>(*single), 4);
        } else if (const auto* doubleValue = std::get_if<double>(&value)) {
            Int16(kDouble, field);
            Double(*doubleValue, field);
        } else if (const auto* text = std::get_if<std::string>(&value)) {
            Int16(kString, field);
            String(*text, field);
        } else {
            Int16(kBoolean, field);
            // True is all bits set, as the Windows release stores it.
            Int16(std::get<bool>(value) ? std::int16_t{-1} : std::int16_t{0}, field);
        }
    }

    // A catalogue id is stored as its decimal text; none is stored as Empty.
    void Id(const CatalogueId& id, std::string_view field) {
        Value(id ? Variant(std::to_string(*id)) : Variant(VariantEmpty{}), field);
    }

    void Rows(const ConditionRecordList& rows, const std::optional<std::int32_t>& lowerBound) {
        if (!lowerBound && rows.empty()) {
            Int16(0, "rows");
            return;
        }
        Int16(1, "rows");
        Int32(static_cast<std::int32_t>(rows.size()), "rows");
        Int32(lowerBound.value_or(0), "rows");
        for (std::size_t i = 0; i < rows.size(); ++i) {
            EnterRow(i + 1);
            TransferRow(*this, rows[i]);
        }
        LeaveRow();
    }

    std::string Take() { return std::move(out_); }

private:
    [[noreturn]] void Refuse(std::string_view field, std::string what) const {
        throw Stop{Problem{ProblemKind::BadInput, Place::Within(Describe(field)), std::move(what)}};
    }

    void Put(std::uint64_t value, int bytes) {
        for (int i = 0; i < bytes; ++i) {
            out_ += static_cast<char>((value >> (8 * i)) & 0xFF);
        }
    }

    std::string out_;
};

template <class Record> std::size_t SmallestSize(void (*transfer)(Writer&, const Record&)) {
    Writer writer;
    transfer(writer, Record{});
    return writer.Take().size();
}

// The fewest bytes a record can take: a count that promises more records than the remaining
// bytes can hold is damage, found before anything is sized from it.
std::size_t SmallestRow() {
    static const std::size_t size = SmallestSize<ConditionRecord>(
        [](Writer& w, const ConditionRecord& r) { TransferRow(w, r); });
    return size;
}
std::size_t SmallestFolder() {
    static const std::size_t size = SmallestSize<LibraryFolder>(
        [](Writer& w, const LibraryFolder& f) { TransferFolder(w, f); });
    return size;
}
std::size_t SmallestFormula() {
    static const std::size_t size = SmallestSize<LibraryFormula>(
        [](Writer& w, const LibraryFormula& f) { TransferFormula(w, f); });
    return size;
}

class Reader : public RecordPlace {
public:
    explicit Reader(std::string_view bytes) : bytes_(bytes) {}

    void Int16(std::int16_t& value, std::string_view field) {
        value = static_cast<std::int16_t>(Take(2, field));
    }
    void Int32(std::int32_t& value, std::string_view field) {
        value = static_cast<std::int32_t>(Take(4, field));
    }
    void Double(double& value, std::string_view field) {
        value = std::bit_cast<double>(Take(8, field));
    }

    void String(std::string& text, std::string_view field) {
        const std::size_t start = offset_;
        const auto length = static_cast<std::size_t>(Take(2, field));
        if (length > Remaining()) {
            Fail(field, start,
                 "the text is " + std::to_string(length) + " bytes long but only " +
                     std::to_string(Remaining()) + " bytes are left in the file");
        }
        text = Cp1252ToUtf8(bytes_.substr(offset_, length));
        offset_ += length;
    }

    void Value(Variant& value, std::string_view field) {
        const std::size_t start = offset_;
        std::int16_t type = 0;
        Int16(type, field);
        switch (type) {
        case kEmpty:
            value = VariantEmpty{};
            return;
        case kNull:
            value = VariantNull{};
            return;
        case kInteger:
            value = static_cast<std::int16_t>(Take(2, field));
            return;
        case kLong:
            value = static_cast<std::int32_t>(Take(4, field));
            return;
        case kSingle:
            value = std::bit_cast<float>(static_cast<std::uint32_t>(Take(4, field)));
            return;
        case kDouble:
            value = std::bit_cast<double>(Take(8, field));
            return;
        case kString: {
            std::string text;
            String(text, field);
            value = std::move(text);
            return;
        }
        case kBoolean:
            value = Take(2, field) != 0;
            return;
        default:
            Fail(field, start, "unknown value type " + std::to_string(type));
        }
    }

    void Id(CatalogueId& id, std::string_view field) {
        const std::size_t start = offset_;
        Variant value;
        Value(value, field);
        if (std::holds_alternative<VariantEmpty>(value) ||
            std::holds_alternative<VariantNull>(value)) {
            id.reset();
        } else if (const auto* text = std::get_if<std::string>(&value)) {
            if (text->empty()) {
                id.reset();
            } else if (const auto number = ParseDecimal(*text)) {
                id = *number;
            } else {
                Fail(field, start, QuoteExcerpt(*text) + " is not a catalogue id");
            }
        } else if (const auto* integer = std::get_if<std::int16_t>(&value)) {
            id = *integer;
        } else if (const auto* longValue = std::get_if<std::int32_t>(&value)) {
            id = *longValue;
        } else {
            Fail(field, start, "a catalogue id must be a whole number or its text");
        }
    }

    void Rows(ConditionRecordList& rows, std::optional<std::int32_t>& lowerBound) {
        const std::size_t start = offset_;
        std::int16_t dimensions = 0;
        Int16(dimensions, "rows");
        rows.clear();
        if (dimensions == 0) {
            lowerBound.reset();
            return;
        }
        if (dimensions != 1) {
            Fail("rows", start,
                 "an array of " + std::to_string(dimensions) +
                     " dimensions; the condition rows are a list of one");
        }
        const std::size_t countAt = offset_;
        std::int32_t count = 0;
        std::int32_t lower = 0;
        Int32(count, "rows");
        Int32(lower, "rows");
        CheckCount(count, SmallestRow(), "rows", countAt);
        lowerBound = lower;
        rows.resize(static_cast<std::size_t>(count));
        for (std::size_t i = 0; i < rows.size(); ++i) {
            EnterRow(i + 1);
            TransferRow(*this, rows[i]);
        }
        LeaveRow();
    }

    // A count must not be negative, nor promise more records than the bytes left can hold.
    void CheckCount(std::int32_t count, std::size_t smallest, std::string_view field,
                    std::size_t at) {
        if (count < 0) {
            Fail(field, at, "the count " + std::to_string(count) + " is negative");
        }
        const auto needed = static_cast<std::uint64_t>(count) * smallest;
        if (needed > Remaining()) {
            Fail(field, at,
                 "the count " + std::to_string(count) + " needs at least " +
                     std::to_string(needed) + " bytes but only " + std::to_string(Remaining()) +
                     " are left in the file");
        }
    }

    std::size_t Offset() const { return offset_; }
    std::size_t Remaining() const { return bytes_.size() - offset_; }

private:
    std::uint64_t Take(int bytes, std::string_view field) {
        const auto size = static_cast<std::size_t>(bytes);
        if (size > Remaining()) {
            Fail(field, offset_,
                 "the file ends here: " + std::to_string(size) + " bytes needed, " +
                     std::to_string(Remaining()) + " left");
        }
        std::uint64_t value = 0;
        for (std::size_t i = 0; i < size; ++i) {
            value |= std::uint64_t{static_cast<unsigned char>(bytes_[offset_ + i])} << (8 * i);
        }
        offset_ += size;
        return value;
    }

    [[noreturn]] void Fail(std::string_view field, std::size_t at, std::string what) const {
        throw Stop{
            Problem{ProblemKind::BadInput, Place::Within(Describe(field), at), std::move(what)}};
    }

    std::string_view bytes_;
    std::size_t offset_ = 0;
};

// A folder field that is not a number names no folder.
bool IsInFolder(const LibraryFormula& formula, std::int32_t folderId) {
    return ParseDecimal(formula.folder) == folderId;
}

void SetOwner(LibraryFormula& formula) {
    for (ConditionRecord& row : formula.rows) {
        row.storedValue = formula.number;
    }
}

} // namespace

// ---- the library in memory ----

const LibraryFolder* Library::FindFolder(std::int32_t id) const {
    const auto it = std::find_if(folders.begin(), folders.end(),
                                 [id](const LibraryFolder& folder) { return folder.id == id; });
    return it == folders.end() ? nullptr : &*it;
}

const LibraryFolder* Library::FolderOf(const LibraryFormula& formula) const {
    const auto id = ParseDecimal(formula.folder);
    return id ? FindFolder(*id) : nullptr;
}

const LibraryFolder* Library::FindFolderByName(std::string_view name) const {
    const auto it =
        std::find_if(folders.begin(), folders.end(),
                     [name](const LibraryFolder& folder) { return folder.name == name; });
    return it == folders.end() ? nullptr : &*it;
}

std::int32_t Library::FindFormula(std::int32_t folderId, std::string_view name) const {
    for (std::size_t i = 0; i < formulas.size(); ++i) {
        if (formulas[i].name == name && IsInFolder(formulas[i], folderId)) {
            return static_cast<std::int32_t>(i + 1);
        }
    }
    return 0;
}

const LibraryFormula* Library::Formula(std::int32_t number) const {
    if (number < 1 || static_cast<std::size_t>(number) > formulas.size()) {
        return nullptr;
    }
    return &formulas[static_cast<std::size_t>(number - 1)];
}

bool Library::FolderHasFormulas(std::int32_t folderId) const {
    return std::any_of(formulas.begin(), formulas.end(), [folderId](const LibraryFormula& formula) {
        return IsInFolder(formula, folderId);
    });
}

std::int32_t Library::UnusedFolderId() const {
    std::int32_t highest = 0;
    for (const LibraryFolder& folder : folders) {
        highest = std::max(highest, folder.id);
    }
    if (highest < std::numeric_limits<std::int32_t>::max()) {
        return highest + 1;
    }
    std::int32_t id = 1;
    while (FindFolder(id) != nullptr) {
        ++id;
    }
    return id;
}

const LibraryFolder& Library::AddFolder() {
    LibraryFolder folder;
    folder.name = "New Folder " + std::to_string(folders.size() + 1);
    folder.id = UnusedFolderId();
    folders.push_back(std::move(folder));
    return folders.back();
}

void Library::DeleteFolder(std::int32_t folderId) {
    const auto it = std::find_if(folders.begin(), folders.end(),
                                 [folderId](const auto& folder) { return folder.id == folderId; });
    if (it != folders.end()) {
        folders.erase(it);
    }
}

std::int32_t Library::StoreFormula(LibraryFormula formula, std::string folder,
                                   std::int32_t replacing) {
    const bool replace = Formula(replacing) != nullptr;
    formula.number = replace ? replacing : static_cast<std::int32_t>(formulas.size() + 1);
    formula.folder = std::move(folder);
    formula.rowsLowerBound = formula.rows.empty() ? std::nullopt : std::optional<std::int32_t>(0);
    SetOwner(formula);
    if (replace) {
        formulas[static_cast<std::size_t>(replacing - 1)] = std::move(formula);
        return replacing;
    }
    formulas.push_back(std::move(formula));
    return formulas.back().number;
}

void Library::DeleteFormula(std::int32_t number) {
    if (Formula(number) == nullptr) {
        return;
    }
    formulas.erase(formulas.begin() + (number - 1));
    for (std::size_t i = static_cast<std::size_t>(number - 1); i < formulas.size(); ++i) {
        formulas[i].number = static_cast<std::int32_t>(i + 1);
        SetOwner(formulas[i]);
    }
}

Library DefaultLibrary() {
    Library library;
    library.folders = {{"Explorations", 1}, {"Buy Signals", 2}, {"Sell Signals", 3}};
    return library;
}

// ---- the file ----

Result<Library> ReadLibrary(std::string_view bytes) try {
    Reader in(bytes);
    std::int32_t formulaCount = 0;
    std::int32_t folderCount = 0;
    in.Int32(formulaCount, "formula count");
    const std::size_t folderCountAt = in.Offset();
    in.Int32(folderCount, "folder count");
    in.CheckCount(formulaCount, 0, "formula count", 0);
    in.CheckCount(folderCount, SmallestFolder(), "folder count", folderCountAt);

    Library library;
    library.folders.resize(static_cast<std::size_t>(folderCount));
    for (std::size_t i = 0; i < library.folders.size(); ++i) {
        in.EnterFolder(i + 1);
        TransferFolder(in, library.folders[i]);
    }
    // The formula count stands ahead of the folders; only now is it known what is left for
    // the formulas.
    in.LeaveRecord();
    in.CheckCount(formulaCount, SmallestFormula(), "formula count", 0);
    library.formulas.resize(static_cast<std::size_t>(formulaCount));
    for (std::size_t i = 0; i < library.formulas.size(); ++i) {
        in.EnterFormula(i + 1);
        TransferFormula(in, library.formulas[i]);
    }
    return library;
} catch (Stop& stop) {
    return std::move(stop.problem);
}

Result<std::string> WriteLibrary(const Library& library) try {
    Writer out;
    out.Int32(static_cast<std::int32_t>(library.formulas.size()), "formula count");
    out.Int32(static_cast<std::int32_t>(library.folders.size()), "folder count");
    for (std::size_t i = 0; i < library.folders.size(); ++i) {
        out.EnterFolder(i + 1);
        TransferFolder(out, library.folders[i]);
    }
    for (std::size_t i = 0; i < library.formulas.size(); ++i) {
        out.EnterFormula(i + 1);
        TransferFormula(out, library.formulas[i]);
    }
    return out.Take();
} catch (Stop& stop) {
    return std::move(stop.problem);
}

fs::path LibraryPath(const fs::path& programFolder) {
    return programFolder / kLibraryFileName;
}

Result<LoadedLibrary> LoadLibraryFile(const fs::path& file) {
    std::error_code error;
    if (!fs::exists(file, error) && !error) {
        return LoadedLibrary{DefaultLibrary(), false};
    }
    const Result<std::string> bytes = ReadInputFile(file, kLibraryFileKind);
    if (!bytes) {
        return bytes.problem();
    }
    Result<Library> read = ReadLibrary(*bytes);
    if (!read) {
        read.problem().where.file = file.string();
        return std::move(read.problem());
    }
    return LoadedLibrary{std::move(read).value(), true};
}

Result<void> SaveLibraryFile(const fs::path& file, const Library& library) {
    Result<std::string> bytes = WriteLibrary(library);
    if (!bytes) {
        Problem refused = std::move(bytes.problem());
        refused.where.file = file.string();
        refused.what += ", so nothing was saved";
        return refused;
    }
    std::error_code error;
    if (file.has_parent_path()) {
        fs::create_directories(file.parent_path(), error);
    }
    error = WriteFileAtomically(file, *bytes, kLibraryTemporaryName);
    if (error) {
        return Problem{ProblemKind::Failure, Place::InFile(file.string()),
                       "cannot write the formula library: " + error.message()};
    }
    return {};
}

} // namespace marlindex
