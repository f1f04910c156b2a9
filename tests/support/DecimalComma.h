// A host in a country that writes 2,5.
#pragma once

namespace test {

// Sets a locale of the C library whose decimal point is a comma, for the whole process, made from
// the one that is always there: no other need be installed. Set back to "C" at the end.
class DecimalComma {
public:
    DecimalComma();
    ~DecimalComma();
    DecimalComma(const DecimalComma&) = delete;
    DecimalComma& operator=(const DecimalComma&) = delete;

    // Whether the host's own code reads and writes numbers with a comma now.
    bool isSet() const;
};

} // namespace test
