# The programs of the suite in which no thread runs but the main one: calculations, and pieces that
# are used under somebody else's lock. The thread sanitizer has nothing to find in them and leaves
# them out; the ordinary build makes sure that they start none.
set(single_threaded
    compositing/LayerLook compositing/LayerPaint compositing/LayerShape
    compositing/MixRows compositing/MultiviewLayout
    compositing/MultiviewSink compositing/OverlayBlend compositing/PictureFit
    compositing/PlaneBlend compositing/RecentPicture compositing/RenderPace
    compositing/SamplePicker compositing/StingerClip compositing/SwitcherScene
    compositing/TileGamut compositing/TileInk compositing/TileScaler compositing/TransitionLooks
    compositing/Transitions
    core/AudioMix core/AudioPeak core/AudioQueue core/Color core/MappedPicture core/ModeTables
    core/PauseTimer core/PictureCheck core/Props core/Protocols
    core/Resampler core/ScaledPicture core/ScalingQuality core/SoundBlock core/SoundCheck core/Timecode
    core/Utf8
    graphics/CGPanel graphics/CGProjectRead graphics/CGProjectWrite graphics/CGTags
    graphics/CGText graphics/CrawlInk graphics/DrawnCrawls graphics/DrawnPanels
    graphics/DrawnPictures graphics/DrawnTexts graphics/LCGColor graphics/LottieColor
    graphics/LottieImages graphics/LottiePlayhead graphics/LottieText graphics/PixelRect
    graphics/SceneRenderer graphics/TickerState graphics/VideoConverter
    judging/Lateness
    outputs/ConvertSound outputs/DiskReserve outputs/OutputFormats outputs/OutputPicture
    outputs/PreviewLook outputs/PreviewMeter outputs/PreviewPacing outputs/PreviewText
    outputs/ReplayFiles outputs/ReplayForm outputs/ReplayIndex outputs/ReplayPacing
    outputs/ReplayView outputs/StreamAddress
    platform/VtpHandshake platform/VtpMessage platform/VtpStubs
    show/Script
    sources/LiveDrawings sources/StreamPacing sources/StreamPictures sources/StreamSound)
