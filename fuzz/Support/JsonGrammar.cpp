#include "fuzz/Support/JsonGrammar.h"

#include <cstddef>
#include <string>

namespace Fuzz {
namespace {

constexpr std::size_t kLongestNumber = 60;
constexpr unsigned int kDeepest = 900;

bool IsDigit(char character) {
    return character >= '0' && character <= '9';
}

bool IsContinuation(char character) {
    return (static_cast<unsigned char>(character) & 0xC0U) == 0x80U;
}

class Grammar {
public:
    explicit Grammar(std::string_view text) : mText(text) {}

    bool IsOneObject() {
        Blanks();
        if (!Object(0)) {
            return false;
        }
        Blanks();
        return mAt == mText.size();
    }

private:
    // Past the end there is a byte that fits nowhere.
    char Next() const { return mAt < mText.size() ? mText[mAt] : '\0'; }

    bool Take(char wanted) {
        const bool isThere = mAt < mText.size() && mText[mAt] == wanted;
        mAt += isThere ? 1 : 0;
        return isThere;
    }

    bool TakeWord(std::string_view word) {
        const bool isThere = mText.substr(mAt, word.size()) == word;
        mAt += isThere ? word.size() : 0;
        return isThere;
    }

    void Blanks() {
        while (Take(' ') || Take('\t') || Take('\r') || Take('\n')) {
        }
    }

    bool Value(unsigned int depth) {
        switch (Next()) {
            case '{':
                return Object(depth + 1);
            case '[':
                return List(depth + 1);
            case '"':
                return Text();
            case 't':
                return TakeWord("true");
            case 'f':
                return TakeWord("false");
            case 'n':
                return TakeWord("null");
            default:
                return Number();
        }
    }

    bool Object(unsigned int depth) {
        return Sequence(depth, '{', '}', [&] {
            if (!Text()) {
                return false;
            }
            Blanks();
            if (!Take(':')) {
                return false;
            }
            Blanks();
            return Value(depth);
        });
    }

    bool List(unsigned int depth) {
        return Sequence(depth, '[', ']', [&] { return Value(depth); });
    }

    template <typename Element>
    bool Sequence(unsigned int depth, char open, char close, Element element) {
        if (depth > kDeepest || !Take(open)) {
            return false;
        }
        Blanks();
        if (Take(close)) {
            return true;
        }
        do {
            Blanks();
            if (!element()) {
                return false;
            }
            Blanks();
        } while (Take(','));
        return Take(close);
    }

    bool Digits() {
        const std::size_t begin = mAt;
        while (IsDigit(Next())) {
            ++mAt;
        }
        return mAt != begin;
    }

    bool Number() {
        const std::size_t begin = mAt;
        Take('-');
        if (!Take('0') && !Digits()) {
            return false;
        }
        if (Take('.') && !Digits()) {
            return false;
        }
        if (Take('e') || Take('E')) {
            if (!Take('+')) {
                Take('-');
            }
            if (!Digits()) {
                return false;
            }
        }
        return mAt - begin <= kLongestNumber;
    }

    bool Text() {
        if (!Take('"')) {
            return false;
        }
        while (mAt < mText.size() && Next() != '"') {
            if (!(Next() == '\\' ? Escape() : Character())) {
                return false;
            }
        }
        return Take('"');
    }

    bool Escape() {
        ++mAt;
        const char kind = Next();
        ++mAt;
        if (kind != 'u') {
            return std::string_view("\"\\/bfnrt").find(kind) != std::string_view::npos;
        }
        const int unit = HexUnit();
        if (unit < 0xD800 || unit > 0xDFFF) {
            return unit >= 0;
        }
        if (unit > 0xDBFF || !TakeWord("\\u")) {
            return false;
        }
        const int second = HexUnit();
        return second >= 0xDC00 && second <= 0xDFFF;
    }

    // Four digits, or -1.
    int HexUnit() {
        int unit = 0;
        for (int i = 0; i < 4; ++i) {
            const auto digit = std::string_view("0123456789abcdef").find(static_cast<char>(Next() | 0x20));
            if (digit == std::string_view::npos || Next() < '0') {
                return -1;
            }
            unit = unit * 16 + static_cast<int>(digit);
            ++mAt;
        }
        return unit;
    }

    // One character of UTF-8, judged by the number that it encodes.
    bool Character() {
        const auto lead = static_cast<unsigned char>(Next());
        ++mAt;
        if (lead < 0x80) {
            return lead >= 0x20;
        }
        const int more = lead >= 0xF0 ? 3 : lead >= 0xE0 ? 2 : 1;
        if (lead < 0xC0 || lead > 0xF7) {
            return false;
        }
        unsigned int code = lead & (0x3FU >> static_cast<unsigned int>(more));
        for (int i = 0; i < more; ++i) {
            if (!IsContinuation(Next())) {
                return false;
            }
            code = code << 6U | (static_cast<unsigned char>(Next()) & 0x3FU);
            ++mAt;
        }
        constexpr unsigned int kSmallest[] = {0x80, 0x800, 0x10000};
        return code >= kSmallest[more - 1] && code <= 0x10FFFF && (code < 0xD800 || code > 0xDFFF);
    }

    std::string_view mText;
    std::size_t mAt = 0;
};

}  // namespace

bool IsJsonObject(std::string_view text) {
    return Grammar(text).IsOneObject();
}

}  // namespace Fuzz
