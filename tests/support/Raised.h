// What a property that is set raises.
#pragma once

#include <stdexcept>
#include <string>

namespace test {

// "invalid stod" for std::invalid_argument with that message, "range stod" for std::out_of_range,
// "nothing" when nothing is raised.
template <typename Object>
std::string raisedBy(Object& object, const std::string& key, const std::string& value) {
    try {
        object.setProps(key, value);
    } catch (const std::invalid_argument& error) {
        return std::string("invalid ") + error.what();
    } catch (const std::out_of_range& error) {
        return std::string("range ") + error.what();
    }
    return "nothing";
}

} // namespace test
