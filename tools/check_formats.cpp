// tuzutil_check_formats FILE: whether translations find the values that the default texts take, as the library sees it.
//
// A line of FILE is "number default translation", both texts in hexadecimal, "-" for an empty one. For each translation
// that does not fit, prints "number what is wrong". Exit status: 0 all fit, 1 some do not, 2 wrong use.

#include "tuzutil/TRACE.h"
#include "tuzutil/TXTMSG.h"

#include <cstdint>
#include <cstdio>
#include <fstream>
#include <map>
#include <string>
#include <vector>

namespace {

constexpr std::uint32_t fsMostArguments = 99;

// What the library says of a format: a conversion over a value that it cannot take, "*" for a width or a precision; or
// the conversion n, without an argument.
struct TFault {
    char conversion;
    std::uint32_t argument;
};

// Collects the faults from the trace. Their entries differ in the number of their arguments: store, set and number come
// first, file and line last.
class TFaultTrace : public TTrace::Base {
public:
    TFaultTrace() : Base(joinsLater, TTrace::warning, TUtilityTraceCategory::Message.QueryComponent()) {}

    void Write(unsigned long, TTrace::Category const &, TTextMessage const &entry) override {
        switch (entry.QueryNumberArgs()) {
        case 5: return faults.push_back({'n', 0});
        case 6: return faults.push_back({'*', Number(entry[3])});
        case 7: return faults.push_back({static_cast<char>(Number(entry[3])), Number(entry[4])});
        }
    }

    std::vector<TFault> faults;

private:
    static std::uint32_t Number(TagVar const &value) {
        return value.IsUnsignedInteger() ? static_cast<std::uint32_t>(static_cast<unsigned long>(value))
                                         : static_cast<std::uint32_t>(static_cast<long>(value));
    }
};

class TChecker {
public:
    TChecker()
        : fHandle(TTrace::Make<TFaultTrace>()), fTrace(static_cast<TFaultTrace *>(fHandle.QueryPointer().Pointer())) {}

    // What is wrong with a translation; empty where it fits.
    std::string Check(std::string const &defaultText, std::string const &translation) {
        // Without values every conversion says what it needs; with them, nothing is left to say unless two differ.
        std::map<std::uint32_t, char> needs;
        for (TFault const &fault : Validate(defaultText, {})) {
            if (fault.argument > fsMostArguments)
                return std::string("the default text has argument ")
                    .append(std::to_string(fault.argument))
                    .append(", the last is ")
                    .append(std::to_string(fsMostArguments));
            needs.emplace(fault.argument, fault.conversion);
        }
        std::vector<TagVar> const values = Values(needs);
        for (TFault const &fault : Validate(defaultText, values))
            return "the default text itself is wrong: " + Describe(fault);
        for (TFault const &fault : Validate(translation, values)) {
            auto const need = needs.find(fault.argument);
            std::string text = Describe(fault);
            if (fault.conversion == 'n')
                return text;
            if (need == needs.end())
                return text.append(", which the default text does not have");
            if (need->second == '*')
                return text.append(", a width or precision in the default text");
            return text.append(", in the default text %").append(1, need->second);
        }
        return "";
    }

private:
    std::vector<TFault> Validate(std::string const &text, std::vector<TagVar> const &values) {
        std::vector<TagVar const *> arguments;
        for (TagVar const &value : values)
            arguments.push_back(&value);
        arguments.push_back(nullptr);
        TTextMessage message("");
        message.SetArgs(arguments.data());
        TString out;
        TTextMessage::CharP block;
        fTrace->faults.clear();
        message.ValidateArgs(TString(text.c_str()), out, block);
        return fTrace->faults;
    }

    static std::vector<TagVar> Values(std::map<std::uint32_t, char> const &needs) {
        // No conversion takes a date: where the default text leaves a number out, nothing fits.
        std::vector<TagVar> values(needs.empty() ? 0 : needs.rbegin()->first, TagVar(TagVar::date));
        for (auto const &[argument, conversion] : needs) {
            if (argument == 0)
                continue;
            TagVar &value = values[argument - 1];
            switch (conversion) {
            case 'E':
            case 'F':
            case 'G':
            case 'e':
            case 'f':
            case 'g': value = TagVar(0.0); break;
            case 's': value = TagVar(""); break;
            case 'p': value = TagVar(TagVarVoidPtr()); break;
            default: value = TagVar(0); break;
            }
        }
        return values;
    }

    static std::string Describe(TFault const &fault) {
        if (fault.conversion == 'n')
            return "%n is never carried out";
        std::string text = fault.conversion == '*' ? "a width or precision is taken from" : "%c prints";
        if (fault.conversion != '*')
            text[1] = fault.conversion;
        return text.append(" argument ").append(std::to_string(fault.argument));
    }

    TTrace fHandle;
    TFaultTrace *fTrace; // of the handle
};

// "-" or pairs of hexadecimal digits; false for anything else.
bool Decode(std::string const &digits, std::string &text) {
    text.clear();
    if (digits == "-")
        return true;
    if (digits.size() % 2 != 0 || digits.find_first_not_of("0123456789abcdef") != std::string::npos)
        return false;
    for (std::size_t i = 0; i < digits.size(); i += 2)
        text += static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16));
    return true;
}

} // namespace

int main(int count, char **arguments) {
    std::ifstream pairs(count == 2 ? arguments[1] : "");
    if (!pairs) {
        std::fprintf(stderr, "usage: tuzutil_check_formats FILE\n");
        return 2;
    }
    TChecker checker;
    int status = 0;
    for (std::string number, first, second; pairs >> number >> first >> second;) {
        std::string defaultText, translation;
        if (!Decode(first, defaultText) || !Decode(second, translation)) {
            std::fprintf(stderr, "message %s: not in hexadecimal\n", number.c_str());
            return 2;
        }
        std::string const problem = checker.Check(defaultText, translation);
        if (problem.empty())
            continue;
        std::printf("%s %s\n", number.c_str(), problem.c_str());
        status = 1;
    }
    return status;
}
