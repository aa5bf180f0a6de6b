#ifndef TESTS_SUPPORT_COMMALOCALE_H
#define TESTS_SUPPORT_COMMALOCALE_H

#include <locale>
#include <string>

namespace testsupport {

/// Makes a locale the process's own while it lives that writes 1234567.5 as "1.234.567,5" and calls
/// the truth "wahr": a machine may have no such locale installed.
class CommaLocale {
public:
    CommaLocale()
        : previous_(std::locale::global(std::locale(std::locale::classic(), new Punctuation))) {}

    ~CommaLocale() { std::locale::global(previous_); }

    CommaLocale(const CommaLocale&) = delete;
    CommaLocale& operator=(const CommaLocale&) = delete;

private:
    class Punctuation : public std::numpunct<char> {
        char do_decimal_point() const override { return ','; }
        char do_thousands_sep() const override { return '.'; }
        std::string do_grouping() const override { return "\3"; }
        std::string do_truename() const override { return "wahr"; }
        std::string do_falsename() const override { return "falsch"; }
    };

    std::locale previous_;
};

}  // namespace testsupport

#endif
