#include "formula/Colouring.h"

#include "startup/Codepage.h"

#include <algorithm>
#include <cassert>
#include <charconv>
#include <optional>
#include <string>

namespace marlindex {

namespace {

// The token lists, kept exactly as the program has always stored them: comma-separated, the
// first element being the element count including itself.
constexpr std::string_view kDigits = "12,1,2,3,4,5,6,7,8,9,0,.";
constexpr std::string_view kKeywords = "17,Filter,Open,High,Low,Close,Average,Volume,Buy,Sell,True,"
                                       "False,AND,OR,Array1,Array2,OpenInt";
constexpr std::string_view kOperators = "11,=,+,/,-,*,(,),>,<,!";
constexpr std::string_view kFunctions1 = "48,AMA,AMA2,TEMA,Wilders,AddColumn,BarsSince,MarketID,"
                                         "GroupID,SectorID,IndustryID,InWatchList,adline,ADX,CCIa,";
constexpr std::string_view kFunctions2 =
    "Chaikin,MACD,Signal,MA,MDI,NVI,OBV,PDI,ROC,RSIa,SAR,StochD,"
    "TRIN,TRIX,Ultimate,MFI,OSCP,OSCV,";
constexpr std::string_view kFunctions3 =
    "BBANDBOT,BBANDTOP,RMI,RWI,StochK,ATR,Cross,Ref,AccDist,LLV,LastValue,HHV,EMA,WMA,DEMA";

constexpr std::string_view kQuote = "\"";

// Stands in the folded text for every character outside ASCII. No token holds it, so a search
// never matches there, and the folded text keeps one byte per character.
constexpr char kNonAscii = static_cast<char>(static_cast<unsigned char>(0x80));

char FoldAscii(char32_t c) {
    if (c >= U'A' && c <= U'Z') {
        return static_cast<char>(c - U'A' + U'a');
    }
    return c < 0x80 ? static_cast<char>(c) : kNonAscii;
}

// A set of ASCII characters, compared exactly (case matters).
struct CharSet {
    std::string_view chars;

    bool Contains(char32_t c) const {
        return c < 0x80 && chars.find(static_cast<char>(c)) != std::string_view::npos;
    }
};

struct Word {
    std::string_view text; // as written in the list: the span set
    std::string folded;    // lower case: what the search looks for
};

struct TokenList {
    std::vector<Word> words;
    CharFormat format;
};

TokenList ParseList(std::string_view stored, CharFormat format) {
    std::vector<std::string_view> elements;
    for (std::size_t from = 0;;) {
        const std::size_t comma = stored.find(',', from);
        elements.push_back(stored.substr(from, comma - from));
        if (comma == std::string_view::npos) {
            break;
        }
        from = comma + 1;
    }
    std::size_t count = 0;
    std::from_chars(elements[0].data(), elements[0].data() + elements[0].size(), count);
    count = std::min(count, elements.size());

    TokenList list{{}, format};
    for (std::size_t i = 1; i < count; ++i) {
        Word word{elements[i], {}};
        for (const char c : word.text) {
            // The search folds the text to one byte per character; that is only sound for words
            // that are themselves ASCII.
            assert(static_cast<unsigned char>(c) < 0x80);
            word.folded += FoldAscii(static_cast<unsigned char>(c));
        }
        list.words.push_back(std::move(word));
    }
    return list;
}

// The word passes in the order they run; a later pass overwrites an earlier one.
struct TokenLists {
    std::string functions;
    std::vector<TokenList> passes;

    TokenLists()
        : functions(std::string(kFunctions1) + std::string(kFunctions2) +
                    std::string(kFunctions3)) {
        passes.push_back(ParseList(kDigits, {kMagenta, false}));
        passes.push_back(ParseList(kKeywords, {kBlack, true}));
        passes.push_back(ParseList(kOperators, {kBlack, false}));
        passes.push_back(ParseList(functions, {kBlue, false}));
    }
    TokenLists(const TokenLists&) = delete;
    TokenLists& operator=(const TokenLists&) = delete;
};

const TokenLists& Lists() {
    static const TokenLists lists;
    return lists;
}

// The formula box as the colouring sees it: the text, a selection, and find / span / format
// operations on the selection, with the box's clamping of the selection to the text.
//
// Runs of repeated tokens ("1111", "MAMAMA") make the colouring find the same token again inside
// a region it has just spanned and painted. The box remembers the last span and the last paint of
// each kind, so that such a repeat costs nothing and the whole colouring stays linear in the
// length of the text. Both memories are exact: a span that starts inside the last spanned region
// of the same set ends where that one ended, and a paint of the same value that starts inside the
// last painted region only has to cover what lies beyond it.
class FormulaBox {
public:
    explicit FormulaBox(std::u32string_view text)
        : text_(text), formats_(text.size(), kDefaultFormat) {
        folded_.resize(text.size());
        std::transform(text.begin(), text.end(), folded_.begin(), FoldAscii);
    }

    std::size_t SelStart() const { return selStart_; }
    std::size_t SelLength() const { return selLength_; }

    // Setting the start collapses the selection to an insertion point.
    void SetSelStart(std::size_t start) {
        selStart_ = std::min(start, text_.size());
        selLength_ = 0;
    }

    void SetSelLength(std::size_t length) {
        selLength_ = std::min(length, text_.size() - selStart_);
    }

    // Case-insensitive search for an ASCII word (given in lower case) from `start` to the end of
    // the text; selects the match. Nothing is found from a start past the end.
    std::optional<std::size_t> Find(std::string_view foldedWord, std::size_t start) {
        if (start > folded_.size()) {
            return std::nullopt;
        }
        const std::size_t pos = std::string_view(folded_).find(foldedWord, start);
        if (pos == std::string_view::npos) {
            return std::nullopt;
        }
        selStart_ = pos;
        selLength_ = foldedWord.size();
        return pos;
    }

    // Extends the selection's end forward over the characters that are in `set` (or, negated,
    // that are not).
    void Span(CharSet set, bool negate) {
        const std::size_t from = selStart_ + selLength_;
        SpanMemory& memory = negate ? negatedSpan_ : span_;
        std::size_t end = from;
        if (memory.set.data() == set.chars.data() && memory.set.size() == set.chars.size() &&
            memory.from <= from && from <= memory.end) {
            end = memory.end;
        } else {
            while (end < text_.size() && set.Contains(text_[end]) != negate) {
                ++end;
            }
            memory = {set.chars, from, end};
        }
        selLength_ = end - selStart_;
    }

    void SetSelColour(std::uint32_t rgb) {
        Paint(colourPaint_, rgb, [](CharFormat& f, std::uint32_t v) { f.rgb = v; });
    }

    void SetSelBold(bool bold) {
        Paint(boldPaint_, bold, [](CharFormat& f, bool v) { f.bold = v; });
    }

    std::vector<CharFormat> TakeFormats() { return std::move(formats_); }

private:
    struct SpanMemory {
        std::string_view set;
        std::size_t from = 0;
        std::size_t end = 0;
    };

    template <typename Value> struct PaintMemory {
        bool valid = false;
        Value value{};
        std::size_t from = 0;
        std::size_t to = 0;
    };

    template <typename Value, typename Apply>
    void Paint(PaintMemory<Value>& memory, Value value, Apply apply) {
        std::size_t from = selStart_;
        const std::size_t to = selStart_ + selLength_;
        if (memory.valid && memory.value == value && memory.from <= from && from <= memory.to) {
            from = std::max(from, memory.to);
            memory.to = std::max(memory.to, to);
        } else {
            memory = {true, value, from, to};
        }
        for (std::size_t i = from; i < to; ++i) {
            apply(formats_[i], value);
        }
    }

    std::u32string_view text_;
    std::string folded_; // the text in ASCII lower case, one byte per character
    std::vector<CharFormat> formats_;
    std::size_t selStart_ = 0;
    std::size_t selLength_ = 0;
    SpanMemory span_;        // the last span over characters in a set
    SpanMemory negatedSpan_; // the last span over characters not in a set
    PaintMemory<std::uint32_t> colourPaint_;
    PaintMemory<bool> boldPaint_;
};

// Colours every occurrence of every word of the list, inside longer words too. The span makes
// a word run on over its own letters (MA at the start of MAMA takes all four). The next search
// starts two characters after the match, so an occurrence starting one character later is
// skipped; the span has always covered it already for the lists the program has.
void ColourWords(FormulaBox& box, const TokenList& list) {
    box.SetSelStart(0);
    for (const Word& word : list.words) {
        auto pos = box.Find(word.folded, 0);
        while (pos) {
            box.Span(CharSet{word.text}, false);
            box.SetSelColour(list.format.rgb);
            box.SetSelBold(list.format.bold);
            box.SetSelStart(box.SelStart() + 1);
            pos = box.Find(word.folded, box.SelStart() + box.SelLength() + 1);
        }
    }
}

// Colours from each opening double quote to its closing one, both included; an unclosed quote
// runs to the end of the text.
void ColourQuotedStrings(FormulaBox& box) {
    const CharSet quote{kQuote};
    box.SetSelStart(0);
    auto pos = box.Find(kQuote, 0);
    while (pos) {
        box.Span(quote, false);
        box.SetSelColour(kMagenta);
        // The match lies inside the text, so one past its start is at most the end of the text:
        // the selection start never passes the end, and every round moves the search forward.
        box.SetSelStart(box.SelStart() + 1);
        box.Span(quote, true);
        box.SetSelLength(box.SelLength() + 1); // the closing quote (clamped at the end)
        box.SetSelColour(kMagenta);
        box.SetSelBold(false);
        pos = box.Find(kQuote, box.SelStart() + box.SelLength() + 1);
    }
}

} // namespace

std::vector<CharFormat> ColourCharacters(std::u32string_view text) {
    FormulaBox box(text);
    for (const TokenList& list : Lists().passes) {
        ColourWords(box, list);
    }
    ColourQuotedStrings(box);
    return box.TakeFormats();
}

std::vector<FormatRun> ColourRuns(std::u32string_view text) {
    const std::vector<CharFormat> formats = ColourCharacters(text);
    std::vector<FormatRun> runs;
    for (std::size_t i = 0; i < formats.size(); ++i) {
        if (runs.empty() || runs.back().format != formats[i]) {
            runs.push_back({i, 0, formats[i]});
        }
        ++runs.back().length;
    }
    return runs;
}

std::vector<FormatRun> ColourRuns(std::string_view utf8) {
    return ColourRuns(DecodeText(utf8));
}

} // namespace marlindex
