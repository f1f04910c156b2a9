#include "core/NumericLocale.h"

namespace quol {

NumericLocaleC::NumericLocaleC() {
    const locale_t current = duplocale(uselocale(locale_t{}));
    numeric_ = newlocale(LC_NUMERIC_MASK, "C", current);
    if (numeric_ == locale_t{}) {
        if (current != locale_t{}) freelocale(current);
        return;
    }
    previous_ = uselocale(numeric_);
}

NumericLocaleC::~NumericLocaleC() {
    if (numeric_ == locale_t{}) return;
    uselocale(previous_);
    freelocale(numeric_);
}

} // namespace quol
