// The text of a Lottie template, searched and changed in place.
//
// Nothing is parsed: a key is found as exporters write it, in quotes and with no blank around the
// colon, and a value ends at the next double quote, escaped or not. What is put in is put in as it
// is. All functions take any bytes, in time linear in the length of the text.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "graphics/LottieSearch.h"

namespace quol {

// --------------------------------------------------------------------------------- loading

// The part of a path up to and including its last "/"; empty without one.
std::string directoryOf(const std::string& path);

// The same up to the last "/" or "\".
std::string resourceFolderOf(const std::string& path);

// Every asset folder ("u") that is neither empty nor absolute, below `directory`.
std::string withAssetFolders(std::string json, const std::string& directory);

// Every font family ("fFamily") replaced.
std::string withFontFamily(std::string json, const std::string& family);

// --------------------------------------------------------------------------------- markers

// Frames of the four markers; -1 for one that is not set.
struct LottieMarkers {
    static constexpr int unset = -1;

    int in = unset;
    int loop = unset;
    int stop = unset;
    int out = unset;
};

// The markers that a template brings: each the first one ("cm") of its name that has its time
// ("tm") before the name, in the same braces.
// Throws what std::stoi throws for a time that is no number.
LottieMarkers readMarkers(const std::string& json);

// Sets the marker named exactly "IN", "LOOP", "STOP" or "OUT". False for any other name.
bool setMarker(LottieMarkers& markers, const std::string& name, int frame);

// --------------------------------------------------------------------------------- texts

// Where the text of the first layer of that name stands; nothing where there is none, or no text
// behind it.
std::optional<TextPiece> findLayerText(const std::string& json, const std::string& layerName);

// -------------------------------------------------------------------------------- colours

// What became of a colour. Exporters differ in where they put it: one writes the layer's name
// before what the layer holds (AE), another a shape's name behind its colour (Cavalry).
enum class ColorChange {
    ignored, // fewer than six digits, or no list of numbers where the colour should be
    noLayer,
    noColor,
    aeStyle,
    cavalryStyle
};

// The new colour of a layer, "RRGGBB" with or without a "#" before it.
struct LottieColor {
    std::string color;
    std::string color2; // empty, or the other end of a gradient
    std::string param;  // the property to set; empty for the first colour of the layer
};

// Changes the text for aeStyle and cavalryStyle only.
// Throws what std::stoi throws for digits that are none.
ColorChange replaceColor(std::string& json, const std::string& layerName, const LottieColor& to);

// --------------------------------------------------------------------------------- images

// The asset that a name stands for.
struct LottieAsset {
    std::string id;
    bool ofLayer = false; // the name is that of a layer, and `id` what that layer refers to
};
LottieAsset assetOf(const std::string& json, const std::string& name);

// Where an asset of that id, in quotes or a bare number, begins; npos for none.
std::size_t findAsset(const std::string& json, const std::string& id);

// Whether a file name ("p") follows.
bool hasImageFile(const std::string& json, std::size_t asset);

// The name for the copy of an image beside the template: "temp_ID.EXTENSION", and "temp_ID" for a
// path without an extension. None where it would lead out of the folder, or could not stand in the
// text of a template: a slash, a double quote, a control character.
std::optional<std::string> imageFileName(const std::string& assetId, const std::string& imagePath);

// Sets the file name of the asset at `asset`, and empties the folder ("u") that follows the asset's
// id: the name is now one in the template's own folder. False where no file name follows.
bool setImageFile(std::string& json, std::size_t asset, const std::string& fileName);

} // namespace quol
