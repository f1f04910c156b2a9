// Pictures with alpha on top of a switcher's program.
#pragma once

struct AVFrame;

namespace quol {

// Both take a 4:2:0 `picture`, which is written to, and an `overlay` of the same size in YUVA420P.
// Chroma takes the alpha of every second sample of every second row.

// A stinger: (overlay * a + picture * (255 - a)) >> 8, a from 0 to 255. The shift by 8 against a
// range of 255 is meant: what the stinger leaves alone, too, is darker by one level.
void overlayStinger(AVFrame& picture, const AVFrame& overlay);

// Titles: picture * (1 - a) + a * overlay in float with a = alpha / 255, cut to a whole number.
// What is fully transparent is not touched.
void overlayTitles(AVFrame& picture, const AVFrame& overlay);

} // namespace quol
