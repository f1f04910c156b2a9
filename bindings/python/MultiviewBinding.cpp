// The multiviewer.
#include "Bind.h"
#include "quolsdk/LMultiview.h"

namespace quolpy {

namespace {

const std::string programKey = "PGM";
const std::string previewKey = "PVW";

std::string tileKey(int row, int col) {
    return std::to_string(row) + "_" + std::to_string(col);
}

} // namespace

template <>
void letGoOf(LMultiview& wall) {
    wall.setPGMSource(nullptr);
    wall.setPVWSource(nullptr);
    wall.setupGrid(MultiviewOrientation::gridBelow, 1);
}

namespace {

using WallClass = Class<LMultiview, LObject>;

// The tiles of the grid go, with their sources.
void setupGrid(LMultiview& wall, MultiviewOrientation orientation, int gridSize) {
    const std::shared_ptr<Node> node = nodeOf(wall);
    std::map<std::string, std::shared_ptr<void>> gone; // goes behind the lock
    const std::lock_guard lock(node->control);
    wall.setupGrid(orientation, gridSize);
    gone.swap(node->slots);
    for (const std::string& key : {programKey, previewKey}) {
        if (auto window = gone.extract(key)) node->slots.insert(std::move(window));
    }
}

void bindLayout(WallClass& wall) {
    wall.def("setupGrid", &setupGrid, outside(), py::arg("orientation"), py::arg("gridSize"),
             "Lays the wall out; all tiles of the grid go.")
        .def(
            "setPGMSource",
            [](LMultiview& self, const Source& source) {
                connect(self, programKey, source, [&] { self.setPGMSource(source.get()); });
            },
            outside(), py::arg("source"), "Source of the programme's window; None for none.")
        .def(
            "setPVWSource",
            [](LMultiview& self, const Source& source) {
                connect(self, previewKey, source, [&] { self.setPVWSource(source.get()); });
            },
            outside(), py::arg("source"), "Source of the preview's window; None for none.")
        .def(
            "setGridPos",
            [](LMultiview& self, const Source& source, int row, int col, int span,
               const std::string& name) {
                connect(self, tileKey(row, col), source,
                        [&] { self.setGridPos(source.get(), row, col, span, name); });
            },
            outside(), py::arg("source"), py::arg("row"), py::arg("col"), py::arg("span") = 0,
            py::arg("name") = "", "Puts a source into a tile, or None; rows and columns from 1.")
        .def(
            "removeGridPos",
            [](LMultiview& self, int row, int col) {
                connect(self, tileKey(row, col), nullptr, [&] { self.removeGridPos(row, col); });
            },
            outside(), py::arg("row"), py::arg("col"), "Takes a tile of the grid away.");
}

void bindTiles(WallClass& wall) {
    wall.def("setGridPGM", &LMultiview::setGridPGM, outside(), py::arg("row"), py::arg("col"),
             "Marks a tile red.")
        .def("setGridPVW", &LMultiview::setGridPVW, outside(), py::arg("row"), py::arg("col"),
             "Marks a tile green.")
        .def("clearTally", &LMultiview::clearTally, outside(), py::arg("row"), py::arg("col"),
             "Takes the mark off.")
        .def("setGridName", py::overload_cast<int, int, std::string>(&LMultiview::setGridName),
             outside(), py::arg("row"), py::arg("col"), py::arg("name"), "Sets a tile's label.")
        .def("setGridName",
             py::overload_cast<const std::string&, const std::string&>(&LMultiview::setGridName),
             outside(), py::arg("key"), py::arg("name"), "The same by key, \"PVW\" say.")
        .def("getLayoutInfo", &LMultiview::getLayoutInfo, outside(),
             "All tiles, in the order of their keys.");
}

} // namespace

void bindMultiview(py::module_& module) {
    py::enum_<MultiviewOrientation>(module, "MultiviewOrientation",
                                    "Where the grid of small windows lies.")
        .value("gridBelow", MultiviewOrientation::gridBelow)
        .value("gridAbove", MultiviewOrientation::gridAbove)
        .value("gridRight", MultiviewOrientation::gridRight)
        .value("gridLeft", MultiviewOrientation::gridLeft);
    WallClass wall(module, "LMultiview", "A control room's monitor wall in one picture.");
    py::enum_<LMultiview::Renderer>(wall, "Renderer", "What makes the pictures.")
        .value("automatic", LMultiview::Renderer::automatic)
        .value("processor", LMultiview::Renderer::processor)
        .value("graphics", LMultiview::Renderer::graphics);
    py::class_<LMultiview::LayoutInfo>(wall, "LayoutInfo",
                                       "A tile; position and size are fractions of the picture.")
        .def_readonly("key", &LMultiview::LayoutInfo::key, "\"PVW\", \"PGM\", or as \"2_3\".")
        .def_readonly("name", &LMultiview::LayoutInfo::name, "The label.")
        .def_readonly("x", &LMultiview::LayoutInfo::x, "Left edge.")
        .def_readonly("y", &LMultiview::LayoutInfo::y, "Upper edge.")
        .def_readonly("w", &LMultiview::LayoutInfo::w, "Width.")
        .def_readonly("h", &LMultiview::LayoutInfo::h, "Height.")
        .def_readonly("tally", &LMultiview::LayoutInfo::tally, "0 none, 1 preview, 2 programme.");
    wall.def(py::init([](LMultiview::Renderer renderer) { return make<LMultiview>(renderer); }),
             py::arg("renderer") = LMultiview::Renderer::automatic);
    bindLayout(wall);
    bindTiles(wall);
    bindVideoFormat<outside>(wall);
}

} // namespace quolpy
