// A contact sheet of a show: a picture of its recording for each thing that happened, with the line
// of the script below.
#pragma once

#include <string>
#include <vector>

namespace show {

struct Moment {
    double seconds = 0.0; // of the recording
    std::string label;
};

// Where the pictures of a sheet lie. All have the shape of 16 to 9, a label's height below.
struct SheetLayout {
    int columns = 1;
    int cellWidth = 0;
    int pictureHeight = 0;

    int left(int cell) const;
    int top(int cell) const;
};

// The size of the titles that the labels are drawn as.
constexpr int sheetWidth = 1920;
constexpr int sheetHeight = 1080;

// The largest cells with which that many have room.
SheetLayout layOutSheet(int cells);

// Takes the pictures out of the recording and writes the sheet as a PNG. False, with a line, when a
// picture is not to be had, or the file cannot be written.
bool writeSheet(const std::string& recording, const std::vector<Moment>& moments,
                const std::string& path);

} // namespace show
