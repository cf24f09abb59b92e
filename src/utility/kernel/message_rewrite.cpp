// Rewrites the format of a message for a printf that does not know numbered arguments. Collects the values of the
// arguments in a block, in the order in which such a printf takes them.

#include "utility/kernel/message_format.h"
#include "utility/kernel/string_access.h"

#include <algorithm>
#include <cstring>
#include <string>

// Collects the bytes of a block.
class TMessageBlock {
public:
    explicit TMessageBlock(std::uint32_t arguments) { fBytes.reserve(std::size_t{16} * arguments); }

    template <typename Value>
    void Append(Value value) {
        fBytes.append(reinterpret_cast<char const *>(&value), sizeof value);
    }

    void Give(TTextMessage::CharP &block) const {
        block.fBytes = TStringAccess::From(std::string_view(fBytes.data(), fBytes.size()));
        block.fUsed = block.fBytes.length();
    }

private:
    std::string fBytes;
};

namespace {

constexpr std::size_t fsSpareZeros = 11;

template <typename Char>
class TRewriter {
public:
    explicit TRewriter(TMessageArguments const &arguments) : fArguments(arguments), fBlock(arguments.count) {}

    void Literal(Char const *from, Char const *to) { fFormat.append(from, to); }
    void Percent() { fFormat.append(2, '%'); }
    static constexpr bool convertsPlain = false;
    static constexpr bool IsFull() noexcept { return false; }

    void Convert(TDirective<Char> const &directive) {
        fFormat += '%';
        for (int i = 0; i < 6; i += 2)
            fFormat.append(directive.kept[i], directive.kept[i + 1]);

        TakeCount(ResolveCount(directive.width, fArguments, TMessageFaults::badWidth), true);
        TakeCount(ResolveCount(directive.precision, fArguments, TMessageFaults::badPrecision), false);
        TValue const value = ResolveValue(directive, fArguments);
        fSize += ValueSize<Char>(directive.conversion, value.argument);
        if (value.isUnshown) {
            fFormat += 'c';
            return fBlock.Append(std::uint32_t{'?'});
        }
        RewriteCharacter(directive, fArguments.Find(directive.argument));
        TakeValue(directive, value.argument);
    }

    std::uint32_t Finish(TString const &format, TString &out, TTextMessage::CharP &block) const {
        std::size_t const length = format.length() / sizeof(Char);
        std::size_t const least = length + fsSpareZeros;
        std::size_t const characters = fFormat.size() <= least ? least : fFormat.size() + fsSpareZeros;
        TString text = TStringAccess::Uninitialized(std::uint64_t{characters} * sizeof(Char),
                                                    sizeof(Char) == 1 ? 0u : std::uint32_t{TStringBuffer::unicode});
        char *const data = text;
        std::memcpy(data, fFormat.data(), fFormat.size() * sizeof(Char));
        std::memset(data + fFormat.size() * sizeof(Char), 0, text.length() - fFormat.size() * sizeof(Char));
        out = text;
        fBlock.Give(block);
        std::int64_t const size = static_cast<std::int64_t>(length) + fSize;
        return static_cast<std::uint32_t>(std::clamp<std::int64_t>(size, 0, 0xFFFFFFFF));
    }

private:
    void TakeCount(TCount const &count, bool isWidth) {
        if (count.isArgument)
            fBlock.Append(count.Int());
        fSize += count.Size(isWidth);
    }

    void RewriteCharacter(TDirective<Char> const &directive, TagVar const *value) {
        constexpr bool isWide = sizeof(Char) != 1;
        switch (directive.conversion) {
        case TConversion::unknown: return;
        case TConversion::storesCount: fFormat += '?'; return;
        case TConversion::character:
            if (directive.modifier)
                fFormat += directive.modifier;
            break;
        case TConversion::integer:
            if (TakesLong(directive, value))
                fFormat.append(2, 'l');
            break;
        case TConversion::otherText:
            if (!isWide && !IsText(value))
                return;
            [[fallthrough]];
        case TConversion::text:
            if (IsWide(value))
                fFormat += 'l';
            else if (isWide && IsText(value))
                fFormat += 'h';
            break;
        default: break;
        }
        fFormat += directive.character;
    }

    void TakeValue(TDirective<Char> const &directive, TagVar const *value) {
        switch (directive.conversion) {
        case TConversion::real: return fBlock.Append(value ? TagVarAccess::Real(*value) : 0.0);
        case TConversion::integer:
            if (value && TakesLong(directive, value))
                return fBlock.Append(TagVarAccess::Long(*value));
            [[fallthrough]];
        case TConversion::character: return fBlock.Append(value ? TagVarAccess::Word(*value) : 0);
        case TConversion::pointer: return fBlock.Append(value ? TagVarAccess::Pointer(*value) : nullptr);
        case TConversion::text: return TakeText(value);
        case TConversion::otherText:
            if (sizeof(Char) != 1) // in a narrow format, this conversion uses no value
                TakeText(value);
            return;
        default: return; // the other conversions use no value
        }
    }

    void TakeText(TagVar const *value) { fBlock.Append(value ? TagVarAccess::Text(*value).data() : nullptr); }

    TMessageArguments const &fArguments;
    std::basic_string<Char> fFormat;
    TMessageBlock fBlock;
    std::int64_t fSize = 0; // the characters that the text may need besides the length of the format
};

template <typename Char>
std::uint32_t Rewrite(TString const &format, TMessageArguments const &arguments, TString &out,
                      TTextMessage::CharP &block) {
    TRewriter<Char> rewriter(arguments);
    WalkFormat(TFormatText<Char>(format), arguments, rewriter);
    return rewriter.Finish(format, out, block);
}

} // namespace

std::uint32_t RewriteNarrow(TString const &format, TMessageArguments const &arguments, TString &out,
                            TTextMessage::CharP &block) {
    return Rewrite<char>(format, arguments, out, block);
}

std::uint32_t RewriteWide(TString const &format, TMessageArguments const &arguments, TString &out,
                          TTextMessage::CharP &block) {
    return Rewrite<unsigned short>(format, arguments, out, block);
}
