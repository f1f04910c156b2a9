/// @file
/// What the items of the character generator look like: one record for each kind.
#pragma once

#include <string>

#include "quolsdk/LCGColor.h"

// The order of the fields is part of the records; a crawl's and a ticker's differ from a text's on
// purpose. Alphas are 0 to 255. Outlines and text shadows are kept, and written to project files,
// but not drawn.

/// A text in a box.
struct LCGTextProps {
    std::string text;                  ///< UTF-8, lines parted by line feeds; tags are resolved
    std::string font = "Arial";        ///< family
    int fontSize = 40;                 ///< pixels
    LCGColor color = "#FFFFFF";        ///< with its alpha
    int textAlpha = 255;               ///< opacity of the text
    float letterSpacing = 0.0F;        ///< pixels behind each letter
    bool autoShrink = false;           ///< makes the font smaller, down to 5, until the lines fit
    int padding = 0;                   ///< pixels between box and text
    int outlineSize = 0;               ///< not drawn
    LCGColor outlineColor = "#000000"; ///< not drawn
    std::string hAlign = "Left";       ///< "Center", "Right", else left
    std::string vAlign = "Center";     ///< "Center", "Bottom", else top
    std::string bgType = "None";       ///< "Color" or "Gradient" draw a panel
    LCGColor bgColor = "#000000";      ///< of the panel; its alpha does not count
    LCGColor bgGradientStartColor = "#FF0000"; ///< at the top
    LCGColor bgGradientEndColor = "#000000";   ///< at the bottom
    int bgAlpha = 255;                         ///< opacity of the panel
    int bgRadius = 0;                          ///< percent of half the smaller side
    float bgShadowOffsetX = 0.0F;              ///< pixels
    float bgShadowOffsetY = 0.0F;              ///< pixels
    int bgShadowAlpha = 0;                     ///< opacity of the panel's shadow
    LCGColor bgShadowColor = "#000000";        ///< of the panel's shadow
    LCGColor borderColor = "#FFFFFF";          ///< of the panel's border
    int borderSize = 0;                        ///< pixels, centred on the edge
    int borderAlpha = 255;                     ///< opacity of the border
    float textShadowOffsetX = 0.0F;            ///< not drawn
    float textShadowOffsetY = 0.0F;            ///< not drawn
    int textShadowAlpha = 0;                   ///< not drawn
    LCGColor textShadowColor = "#000000";      ///< not drawn

    bool operator==(const LCGTextProps&) const = default; ///< field by field
};

/// Lines that run through a box one behind the other.
struct LCGCrawlProps {
    std::string text;                  ///< UTF-8, one entry a line; empty lines are left out
    std::string font = "Arial";        ///< family
    int fontSize = 40;                 ///< pixels
    LCGColor color = "#FFFFFF";        ///< with its alpha
    int textAlpha = 255;               ///< opacity of the text
    float letterSpacing = 0.0F;        ///< pixels behind each letter
    bool autoShrink = false;           ///< not used
    int padding = 0;                   ///< pixels between box and text
    int outlineSize = 0;               ///< not drawn
    LCGColor outlineColor = "#000000"; ///< not drawn
    std::string hAlign = "Left";       ///< not used
    std::string vAlign = "Center";     ///< not used
    std::string bgType = "None";       ///< "Color" or "Gradient" draw a panel
    LCGColor bgColor = "#000000";      ///< of the panel; its alpha does not count
    LCGColor bgGradientStartColor = "#FF0000"; ///< at the top
    LCGColor bgGradientEndColor = "#000000";   ///< at the bottom
    int bgAlpha = 255;                         ///< opacity of the panel
    int bgRadius = 0;                          ///< percent of half the smaller side
    float bgShadowOffsetX = 0.0F;              ///< pixels
    float bgShadowOffsetY = 0.0F;              ///< pixels
    int bgShadowAlpha = 0;                     ///< opacity of the panel's shadow
    LCGColor bgShadowColor = "#000000";        ///< of the panel's shadow
    float textShadowOffsetX = 0.0F;            ///< not drawn
    float textShadowOffsetY = 0.0F;            ///< not drawn
    int textShadowAlpha = 0;                   ///< not drawn
    LCGColor textShadowColor = "#000000";      ///< not drawn
    std::string textMove = "Horizontal";       ///< "Vertical" runs up or down, else sideways
    float textSpeed = -5.0F;                   ///< pixels a picture; negative to the left, or up
    std::string separatorImage;                ///< file of an image between entries
    std::string textSeparator = " - ";         ///< between entries, without an image
    int separatorPadding = 20;                 ///< pixels around the separator
    LCGColor borderColor = "#FFFFFF";          ///< of the panel's border
    int borderSize = 0;                        ///< pixels, centred on the edge
    int borderAlpha = 255;                     ///< opacity of the border

    bool operator==(const LCGCrawlProps&) const = default; ///< field by field
};

/// Lines that are shown one at a time, and change by a slide of half a second.
struct LCGTickerProps {
    std::string text;           ///< UTF-8, lines parted by line feeds; empty ones are left out
    std::string font = "Arial"; ///< family
    int fontSize = 40;          ///< pixels
    LCGColor color = "#FFFFFF"; ///< with its alpha
    int textAlpha = 255;        ///< opacity of the text
    float letterSpacing = 0.0F; ///< pixels behind each letter
    bool autoShrink = false;    ///< not used
    int padding = 0;            ///< pixels between box and text
    int outlineSize = 0;        ///< not drawn
    LCGColor outlineColor = "#000000";         ///< not drawn
    std::string hAlign = "Left";               ///< "Center", "Right", else left
    std::string vAlign = "Center";             ///< not used
    std::string bgType = "None";               ///< "Color" or "Gradient" draw a panel
    LCGColor bgColor = "#000000";              ///< of the panel; its alpha does not count
    LCGColor bgGradientStartColor = "#FF0000"; ///< at the top
    LCGColor bgGradientEndColor = "#000000";   ///< at the bottom
    int bgAlpha = 255;                         ///< opacity of the panel
    int bgRadius = 0;                          ///< percent of half the smaller side
    float bgShadowOffsetX = 0.0F;              ///< pixels
    float bgShadowOffsetY = 0.0F;              ///< pixels
    int bgShadowAlpha = 0;                     ///< opacity of the panel's shadow
    LCGColor bgShadowColor = "#000000";        ///< of the panel's shadow
    float textShadowOffsetX = 0.0F;            ///< not drawn
    float textShadowOffsetY = 0.0F;            ///< not drawn
    int textShadowAlpha = 0;                   ///< not drawn
    LCGColor textShadowColor = "#000000";      ///< not drawn
    std::string textMove = "Up";               ///< "Up" or "Down"; else blank during the slide
    float textMoveDuration = 5.0F;             ///< seconds that a line rests
    LCGColor borderColor = "#FFFFFF";          ///< of the panel's border
    int borderSize = 0;                        ///< pixels, centred on the edge
    int borderAlpha = 255;                     ///< opacity of the border

    bool operator==(const LCGTickerProps&) const = default; ///< field by field
};

/// A panel. At its default type it draws nothing.
struct LCGRectProps {
    std::string bgType = "Solid";              ///< "Color" or "Gradient" draw
    LCGColor bgColor = "#FFFFFF";              ///< its alpha does not count
    LCGColor bgGradientStartColor = "#FFFFFF"; ///< at the top
    LCGColor bgGradientEndColor = "#000000";   ///< at the bottom
    int bgAlpha = 255;                         ///< opacity
    int bgRadius = 0;                          ///< percent of half the smaller side
    LCGColor borderColor = "#FFFFFF";          ///< of the border
    int borderSize = 0;                        ///< pixels, centred on the edge
    int borderAlpha = 255;                     ///< opacity of the border
    float bgShadowOffsetX = 0.0F;              ///< pixels
    float bgShadowOffsetY = 0.0F;              ///< pixels
    int bgShadowAlpha = 0;                     ///< opacity of the shadow
    LCGColor bgShadowColor = "#000000";        ///< of the shadow

    bool operator==(const LCGRectProps&) const = default; ///< field by field
};

/// A still image.
struct LCGImageProps {
    std::string path; ///< file

    bool operator==(const LCGImageProps&) const = default; ///< field by field
};

/// A clip, at the generator's rate.
struct LCGVideoProps {
    std::string path; ///< file; counts when the item is added

    bool operator==(const LCGVideoProps&) const = default; ///< field by field
};
