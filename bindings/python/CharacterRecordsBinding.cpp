// What the items of the character generator look like.
#include "Bind.h"
#include "quolsdk/LCGColor.h"
#include "quolsdk/LCGProps.h"

namespace quolpy {

namespace {

// A text is a colour wherever one is wanted.
void bindColor(py::module_& module) {
    py::class_<LCGColor>(module, "LCGColor", "A colour, made from a text, \"#RRGGBB\".")
        .def(py::init<>())
        .def(py::init<const std::string&>(), py::arg("text"))
        .def("assign", &LCGColor::assign, py::arg("text"), "Reads a text.")
        .def("value", &LCGColor::value, "0xAARRGGBB.")
        .def("red", &LCGColor::red, "0.0 to 1.0.")
        .def("green", &LCGColor::green, "0.0 to 1.0.")
        .def("blue", &LCGColor::blue, "0.0 to 1.0.")
        .def("alpha", &LCGColor::alpha, "0.0 to 1.0.")
        .def(
            "__eq__", [](const LCGColor& a, const LCGColor& b) { return a == b; },
            py::is_operator(), py::arg("other"))
        .def("__repr__", [](const LCGColor& color) {
            return py::str("LCGColor('#{:08X}')").format(color.value());
        });
    py::implicitly_convertible<py::str, LCGColor>();
}

// Fields may be given by name when a record is made: LCGTextProps(text="Hello", fontSize=60).
template <typename Record>
py::class_<Record> bindRecord(py::module_& module, const char* name, const char* text) {
    py::class_<Record> record(module, name, text);
    record.def(py::init([](const py::kwargs& fields) {
        auto made = std::make_unique<Record>();
        const py::object self = py::cast(made.get(), py::return_value_policy::reference);
        for (const auto& [key, value] : fields) {
            if (!py::hasattr(self, key))
                throw py::type_error("no field " + py::cast<std::string>(key));
            py::setattr(self, key, value);
        }
        return made;
    }));
    record.def(
        "__eq__", [](const Record& a, const Record& b) { return a == b; }, py::is_operator(),
        py::arg("other"));
    return record;
}

template <typename Record>
void bindLetters(py::class_<Record>& record) {
    record.def_readwrite("text", &Record::text, "UTF-8, lines parted by line feeds.")
        .def_readwrite("font", &Record::font, "Family.")
        .def_readwrite("fontSize", &Record::fontSize, "Pixels.")
        .def_readwrite("color", &Record::color, "With its alpha.")
        .def_readwrite("textAlpha", &Record::textAlpha, "Opacity of the text, 0 to 255.")
        .def_readwrite("letterSpacing", &Record::letterSpacing, "Pixels behind each letter.")
        .def_readwrite("autoShrink", &Record::autoShrink, "A text's: smaller until it fits.")
        .def_readwrite("padding", &Record::padding, "Pixels between box and text.")
        .def_readwrite("outlineSize", &Record::outlineSize, "Not drawn.")
        .def_readwrite("outlineColor", &Record::outlineColor, "Not drawn.")
        .def_readwrite("hAlign", &Record::hAlign, "\"Center\", \"Right\", else left.")
        .def_readwrite("vAlign", &Record::vAlign, "\"Center\", \"Bottom\", else top.")
        .def_readwrite("textShadowOffsetX", &Record::textShadowOffsetX, "Not drawn.")
        .def_readwrite("textShadowOffsetY", &Record::textShadowOffsetY, "Not drawn.")
        .def_readwrite("textShadowAlpha", &Record::textShadowAlpha, "Not drawn.")
        .def_readwrite("textShadowColor", &Record::textShadowColor, "Not drawn.");
}

template <typename Record>
void bindPanel(py::class_<Record>& record) {
    record.def_readwrite("bgType", &Record::bgType, "\"Color\" or \"Gradient\" draw a panel.")
        .def_readwrite("bgColor", &Record::bgColor, "Of the panel.")
        .def_readwrite("bgGradientStartColor", &Record::bgGradientStartColor, "At the top.")
        .def_readwrite("bgGradientEndColor", &Record::bgGradientEndColor, "At the bottom.")
        .def_readwrite("bgAlpha", &Record::bgAlpha, "Opacity of the panel, 0 to 255.")
        .def_readwrite("bgRadius", &Record::bgRadius, "Percent of half the smaller side.")
        .def_readwrite("bgShadowOffsetX", &Record::bgShadowOffsetX, "Pixels.")
        .def_readwrite("bgShadowOffsetY", &Record::bgShadowOffsetY, "Pixels.")
        .def_readwrite("bgShadowAlpha", &Record::bgShadowAlpha, "Opacity of the shadow.")
        .def_readwrite("bgShadowColor", &Record::bgShadowColor, "Of the shadow.")
        .def_readwrite("borderColor", &Record::borderColor, "Of the border.")
        .def_readwrite("borderSize", &Record::borderSize, "Pixels, centred on the edge.")
        .def_readwrite("borderAlpha", &Record::borderAlpha, "Opacity of the border, 0 to 255.");
}

} // namespace

void bindCharacterRecords(py::module_& module) {
    bindColor(module);

    auto text = bindRecord<LCGTextProps>(module, "LCGTextProps", "A text in a box.");
    bindLetters(text);
    bindPanel(text);

    auto crawl = bindRecord<LCGCrawlProps>(module, "LCGCrawlProps",
                                           "Lines that run through a box one behind the other.");
    bindLetters(crawl);
    bindPanel(crawl);
    crawl
        .def_readwrite("textMove", &LCGCrawlProps::textMove,
                       "\"Vertical\" runs up or down, else sideways.")
        .def_readwrite("textSpeed", &LCGCrawlProps::textSpeed,
                       "Pixels a picture; negative to the left, or up.")
        .def_readwrite("separatorImage", &LCGCrawlProps::separatorImage,
                       "File of an image between entries.")
        .def_readwrite("textSeparator", &LCGCrawlProps::textSeparator,
                       "Between entries, without an image.")
        .def_readwrite("separatorPadding", &LCGCrawlProps::separatorPadding,
                       "Pixels around the separator.");

    auto ticker =
        bindRecord<LCGTickerProps>(module, "LCGTickerProps", "Lines that are shown one at a time.");
    bindLetters(ticker);
    bindPanel(ticker);
    ticker.def_readwrite("textMove", &LCGTickerProps::textMove, "\"Up\" or \"Down\".")
        .def_readwrite("textMoveDuration", &LCGTickerProps::textMoveDuration,
                       "Seconds that a line rests.");

    auto panel = bindRecord<LCGRectProps>(module, "LCGRectProps",
                                          "A panel. At its default type it draws nothing.");
    bindPanel(panel);
    bindRecord<LCGImageProps>(module, "LCGImageProps", "A still image.")
        .def_readwrite("path", &LCGImageProps::path, "File.");
    bindRecord<LCGVideoProps>(module, "LCGVideoProps", "A clip, at the generator's rate.")
        .def_readwrite("path", &LCGVideoProps::path, "File; counts when the item is added.");
}

} // namespace quolpy
