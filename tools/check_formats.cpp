// tuzutil_check_formats FILE: checks whether translations fit the values that the default texts take. The library
// itself decides this.
//
// Each line of FILE is "number default translation". Both texts are in hexadecimal digits, and "-" stands for an empty
// text. For each translation that does not fit, the program prints a line with the number and what is wrong. Exit
// status: 0 if all translations fit, 1 if some do not, 2 for wrong use.

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

// A fault that the library reports: the conversion that cannot take the value of this argument. "*" stands for a width
// or a precision. The conversion n is always a fault, and then `argument` is 0.
struct TFault {
    char conversion;
    std::uint32_t argument;
};

// Collects the faults from the trace entries. The number of arguments of an entry shows the kind of the fault. The
// first arguments of every entry are store, set and number, and the last arguments are file and line.
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

    // Returns what is wrong with a translation. If the translation fits, returns an empty text.
    std::string Check(std::string const &defaultText, std::string const &translation) {
        // If there are no values, the library reports every conversion with its argument as a fault. The second call of
        // Validate() supplies fitting values. It reports a fault only if two conversions need different values of one
        // argument.
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
        // If the default text does not use an argument, the argument gets a date, because no conversion takes a date.
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
    TFaultTrace *fTrace; // owned by fHandle
};

// Decodes pairs of hexadecimal digits, or "-". Returns false for any other text.
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
