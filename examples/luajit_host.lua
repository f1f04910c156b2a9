--[==[ A host in Lua on the flat C interface, by LuaJIT's FFI: a clip in the corner of a coloured
picture, recorded for two seconds; then a reader tells what the recording is.

    luajit luajit_host.lua CLIP RECORDING.mp4 [LIBRARY [HEADER]]

LIBRARY is the path of libquolsdk.so, HEADER that of quolsdk_c_api.h. Without them the environment
variables QUOLSDK_LIBRARY and QUOLSDK_HEADER name them; else the library is found where the system's
loader looks, and the header where pkg-config says.

Exit status: 0 done, 1 something cannot be played or recorded (the text says what), 2 wrong use. ]==]

local ffi = require("ffi")

local SECONDS = 2

if #arg < 2 or #arg > 4 then
    io.stderr:write("use: luajit luajit_host.lua CLIP RECORDING.mp4 [LIBRARY [HEADER]]\n")
    os.exit(2)
end

local function fail(...)
    print(string.format(...))
    os.exit(1)
end

local function installed_header()
    local answer = io.popen("pkg-config --variable=includedir quolsdk 2>/dev/null")
    local folder = answer:read("*l") or "/usr/local/include"
    answer:close()
    return folder .. "/quolsdk/quolsdk_c_api.h"
end

-- The FFI reads C declarations: the header itself, without its comments, its lines for the
-- preprocessor, the block that is for C++ and the export macro.
local function declare(path)
    local file = io.open(path)
    if not file then fail("no header: %s", path) end
    local text = file:read("*a")
    file:close()
    text = text:gsub("/%*.-%*/", "")
    text = text:gsub("#ifdef __cplusplus.-#endif", "")
    text = text:gsub("#[^\n]*", ""):gsub("QUOLSDK_C_API", "")
    ffi.cdef(text)
end

declare(arg[4] or os.getenv("QUOLSDK_HEADER") or installed_header())
ffi.cdef("int poll(void*, unsigned long, int);")

local loaded, C = pcall(ffi.load, arg[3] or os.getenv("QUOLSDK_LIBRARY") or "libquolsdk.so.0")
if not loaded then fail("no library: %s", C) end

-- One object of the library: object:verb(...) is quolsdk_family_verb(handle, ...). What is made is
-- destroyed by finish, the last one first: sinks before what they show.
local objects = {}

local function new(family)
    local object = { handle = C["quolsdk_" .. family .. "_create"]() }
    setmetatable(object, {
        __index = function(_, verb)
            local call = C["quolsdk_" .. family .. "_" .. verb]
            return function(self, ...) return call(self.handle, ...) end
        end,
    })
    table.insert(objects, object)
    return object
end

local function finish()
    while #objects > 0 do table.remove(objects):destroy() end
end

local function status(object)
    local value = ffi.new("int[1]")
    object:status_get(value)
    return value[0]
end

local function record(clip, path)
    local canvas = ffi.new("quolsdk_video_format", { 0, 640, 360, 25, 1 })
    local signal, file, mixer, recorder = new("signal"), new("file"), new("mixer"), new("recorder")

    signal:set_color("#204080")
    signal:start()
    file:name_set(clip)
    file:set_props("loop", "true")
    mixer:set_video_format(canvas)
    mixer:add_layer("ground", signal.handle)
    mixer:set_layer_size("ground", 640, 360)
    mixer:add_layer("clip", file.handle)
    mixer:set_layer_pos("clip", 360, 40)
    mixer:set_layer_size("clip", 240, 135)
    mixer:set_layer_z_index("clip", 1)
    mixer:set_layer_audio("clip", 1, 100)
    file:play()
    if status(file) == 0 then return "cannot play " .. clip end

    recorder:set_source(mixer.handle)
    recorder:file_name_set(path)
    recorder:custom_set("preset=ultrafast")
    recorder:set_video_format(canvas)
    recorder:start()
    if status(recorder) == 0 then return "cannot record " .. path end
    local seconds, pictures = ffi.new("double[1]"), ffi.new("int[1]")
    while status(recorder) ~= 0 and seconds[0] < SECONDS do
        ffi.C.poll(nil, 0, 50)
        recorder:get_stats(nil, seconds, nil, nil, nil, 0)
    end
    recorder:stop()
    recorder:get_stats(nil, nil, pictures, nil, nil, 0)
    print(string.format("recorded %d pictures", pictures[0]))
end

local function tell(path)
    local reader = new("reader")
    if reader:open(path) == 0 then return "cannot read " .. path end
    local codec = ffi.new("char[32]")
    reader:video_codec_get(codec, 32)
    -- 64-bit results are boxed by the FFI; these fit into Lua's own numbers.
    local width, height = tonumber(reader:width_get()), tonumber(reader:height_get())
    print(string.format("%s: %dx%d %s, %g a second, %.1f s, %d channels", path, width, height,
        ffi.string(codec), reader:fps_get(), reader:duration_get() / 1000,
        tonumber(reader:audio_channels_get())))
end

print("libquolsdk " .. ffi.string(C.quolsdk_get_version()))
local wrong = record(arg[1], arg[2])
finish()
wrong = wrong or tell(arg[2])
finish()
if wrong then fail("%s", wrong) end
