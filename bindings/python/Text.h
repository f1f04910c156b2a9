// Texts of the library on their way to Python.
#pragma once

#include <pybind11/pybind11.h>

#include <compare>
#include <filesystem>
#include <string>
#include <utility>

namespace quolpy {

// A text that comes from outside, a name of a device say: it need not be UTF-8, and what is not
// becomes the replacement character.
struct Text {
    Text() = default;
    Text(std::string text) : text(std::move(text)) {}
    auto operator<=>(const Text&) const = default;
    std::string text;
};

// The value of a property: a text, or what stands for one: True and False are "true" and "false", a
// number is what str() makes of it.
struct PropValue {
    std::string text;
};

// The name of a file, from a str, bytes, or anything else that names one.
using Path = std::filesystem::path;

} // namespace quolpy

namespace pybind11::detail {

template <>
struct type_caster<quolpy::Text> {
    PYBIND11_TYPE_CASTER(quolpy::Text, const_name("str"));
    bool load(handle, bool) { return false; }
    static handle cast(const quolpy::Text& value, return_value_policy, handle) {
        return PyUnicode_DecodeUTF8(value.text.data(), static_cast<Py_ssize_t>(value.text.size()),
                                    "replace");
    }
};

template <>
struct type_caster<quolpy::PropValue> {
    PYBIND11_TYPE_CASTER(quolpy::PropValue, const_name("str | bool | int | float"));
    bool load(handle source, bool) {
        if (!source) return false;
        object text;
        if (PyUnicode_Check(source.ptr()) != 0) {
            text = reinterpret_borrow<object>(source);
        } else if (PyBool_Check(source.ptr()) != 0) {
            text = pybind11::str(source.ptr() == Py_True ? "true" : "false");
        } else if (PyLong_Check(source.ptr()) != 0 || PyFloat_Check(source.ptr()) != 0) {
            text = pybind11::str(source);
        } else {
            return false;
        }
        Py_ssize_t size = 0;
        const char* data = PyUnicode_AsUTF8AndSize(text.ptr(), &size);
        if (data == nullptr) throw error_already_set();
        value.text.assign(data, static_cast<std::size_t>(size));
        return true;
    }
};

} // namespace pybind11::detail
