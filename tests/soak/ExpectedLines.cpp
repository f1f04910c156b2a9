#include "soak/ExpectedLines.h"

#include <array>

namespace soak {

namespace {

constexpr std::array lines{
    // Connections.
    "[LObject] addSink this=* sink=*",
    "[LObject] removeSink this=* sink=*",
    "[LObject] removeSink success!",
    "[SwitcherPreviewObject] addSink *",
    "[SwitcherPreviewObject] removeSink *",
    "[LSwitcher::setPreview]*",
    "LSwitcher: CG Layer Added. Total CGs: *",
    "LMultiview rendering key: *",
    "LMultiview: Setting grid name for key: *",
    "[LAudioMixer] Channel Removed: *",
    // A machine without a graphics processor composes on the main one.
    "LMixer [GPU]: Failed to initialize OpenGL context. *",
    "LMultiview [GPU]: Failed to initialize OpenGL context. *",
    // Files.
    "[LFile] Found Timecode: *",
    // Stingers: those that are there, the one that is missing, and one that the next takes the
    // place
    // of before it is loaded.
    "[LSwitcher] Async Stinger loaded successfully: *",
    "LStinger: Duration Updated -> *",
    "[LStinger] Clip could not be decoded: */missing.mov",
    "[LStinger] Clip was cancelled: */sting-*.mov",
    "[LSwitcher] Async Stinger load failed: */missing.mov",
    "[LSwitcher] Async Stinger load failed: */sting-*.mov",
    "LSwitcher: Stinger not loaded, falling back to Cut.",
    // Live inputs and outputs. A machine without an NDI runtime says so for each live input.
    "LLive: NDIlib_initialize failed!",
    "LLive: Starting Test Signal...",
    "LLive: Test Signal Thread Exiting.",
    "LLive: Stopped Safely.",
    "LLive: Audio Normalization SwrContext Created (*",
    "LLive: Selected VTP source index out of bounds.", // the output has only just begun anew
    "[LOutput] Device set to index: *",
    "[LOutput] Video Format set to: *",
    "[LOutput] VTP Format changed while running. Restarting VTP...",
    "[LOutput] VTP Started successfully! Name: soak * on port *",
    "[LOutput] VTP Stopped.",
    "[LOutput] Audio thread started.",
    "[LOutput] Audio thread exiting.",
    "[LOutput] Output thread started.",
    "[LOutput] Output thread exiting.",
    "[LOutput] Audio Resampler re-created for new input: *",
    // Recording and streaming.
    "LRecorder: Stopped and resources freed.",
    "LRecorder: Paused.",
    "LRecorder: Resumed.",
    "LRecorder: Auto-Timecode set to *",
    "LRecorder: Could not open output file: */missing/take.mp4",
    "[LStream] Yayın Başladı: rtmp://127.0.0.1:*",
    "[LStream] Yayın Durduruldu.",
    // What has not been sent a second after the stop is given up; a crowded machine takes longer.
    "[LStream] Sending failed, Immediate exit requested: rtmp://127.0.0.1:*",
    "[LStreamPlay] openStream: * failed for URL rtmp://127.0.0.1:* Error: *",
    "[LStreamPlay] openStream: nothing that can be decoded at URL rtmp://127.0.0.1:*",
    // Templates: those that are there, the one that is missing, and the one that is damaged.
    "LAnimation: Katman * yuklendi. Toplam Kare: *",
    "LAnimation: Katman * metni guncellendi (Bellekten): *",
    "LAnimation: Katman * rengi guncellendi: *",
    "LAnimation: Font basariyla yuklendi: *",
    "LAnimation: UYARI - Hicbir sistem fontu yuklenemedi!", // where none of its fonts is there
    "LAnimation: OUT moduna gecildi. Baslangic karesi: *",
    "LAnimation: OUT bulunamadi, katman UNLOAD ediliyor. ID: *",
    "LAnimation: close() cagrildi. Acil cikis yapiliyor. ID: *",
    "LAnimation: stop() cagrildi. Estetik (Beklemeli) cikis yapiliyor. ID: *",
    "LAnimation: Katman bulunamadi: *",
    "LAnimation: Katman adı bulunamadi: Panel", // while a damaged template is in its place
    "LAnimation: Renk parametresi bulunamadi. Katman: *",
    "LAnimation: Dosya acilamadi: */missing.json",
    "LAnimation: Lottie verisi yuklenemedi! Katman: *",
    "LAnimation: Lottie destegi olmadan derlendi, yuklenemedi: *",
    // Title files that are missing.
    "XML dosyasi acilamadi: */missing.xml",
    // Conversions with a missing file among theirs.
    "LConvert: Could not open input file: */missing.mov",
    // The preview.
    "[quolsdk] Loading built-in Win32 GDI Preview...",
    "[quolsdk] Win32 OpenGL GPU preview ready (WGL).",
};

// Whether a line is of that form.
bool fits(const char* pattern, const char* line) {
    for (; *pattern != '*'; ++pattern, ++line) {
        if (*pattern != *line) return false;
        if (*pattern == '\0') return true;
    }
    do {
        if (fits(pattern + 1, line)) return true;
    } while (*line++ != '\0');
    return false;
}

} // namespace

const char* expectedPattern(const char* line) {
    for (const char* const known : lines)
        if (fits(known, line)) return known;
    return nullptr;
}

} // namespace soak
