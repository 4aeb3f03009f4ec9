// A small stand-in for the HSP 2.5 host: it builds the records the host hands to a plugin
// (variable descriptors, a screen record with a real window and DIB section) byte by byte
// at the host's offsets, and loads the plugin and calls its exports by decorated name as
// the host does. It does not include the plugin's headers, so the offsets are checked
// independently.
#pragma once

#include <windows.h>

#include <cstdint>
#include <string>
#include <vector>

namespace host {

// One script variable: a 64-byte descriptor (the host's record is larger than the three
// fields a plugin reads) and a data buffer with guard bytes on both sides, so that a write
// past either end is seen.
class Variable {
public:
    static constexpr uint16_t STRING = 2;
    static constexpr uint16_t INT = 4;
    static constexpr size_t GUARD_BYTES = 64;
    static constexpr uint8_t GUARD = 0xA5;
    static constexpr uint8_t HOST_FILL = 0xCD;

    static Variable Int(int32_t elements);
    static Variable String(int32_t size4);  // buffer of 4 * size4 bytes

    Variable(const Variable&) = delete;
    Variable& operator=(const Variable&) = delete;
    Variable(Variable&&) = default;
    Variable& operator=(Variable&&) = default;

    int32_t Arg() const { return static_cast<int32_t>(reinterpret_cast<uintptr_t>(descriptor_.data())); }
    int32_t* Ints() { return reinterpret_cast<int32_t*>(Data()); }
    char* Text() { return reinterpret_cast<char*>(Data()); }
    uint8_t* Data() { return buffer_.data() + GUARD_BYTES; }
    size_t DataBytes() const { return dataBytes_; }
    void Fill(uint8_t value);

    // The bytes around the data and the descriptor's host-only bytes are as they were made.
    bool GuardsIntact() const;
    bool DescriptorIntact() const;

private:
    Variable(uint16_t tag, int32_t size4);
    std::vector<uint8_t> descriptor_;
    std::vector<uint8_t> buffer_;
    size_t dataBytes_ = 0;
};

// The host's window buffer: a real top-level window, a memory DC with a DIB section
// selected (24-bit, or 8-bit with a 256-entry colour table and palette), and the screen
// record that points at them.
class Screen {
public:
    static constexpr size_t RECORD_BYTES = 512;
    Screen(int width, int height, bool palette8 = false);
    ~Screen();
    Screen(const Screen&) = delete;
    Screen& operator=(const Screen&) = delete;

    int32_t Arg() { return static_cast<int32_t>(reinterpret_cast<uintptr_t>(record_.data())); }
    int32_t Field(size_t offset) const;
    void SetField(size_t offset, int32_t value);
    HWND Window() const { return window_; }
    HDC Dc() const { return dc_; }
    uint8_t* Bits() const { return bits_; }

    // Offsets of the record's fields.
    enum Offset : size_t {
        WIDTH = 4, HEIGHT = 8, PALETTE_MODE = 12, HDC_FIELD = 16, BITS = 20, COLOUR_TABLE = 36,
        PALETTE = 40, OLD_PALETTE = 44, PALETTE_COUNT = 48, HWND_FIELD = 52, SCREEN_TYPE = 68,
        CURSOR_X = 108, CURSOR_Y = 112, BRUSH = 144, PEN = 148, COLOUR = 160,
    };

private:
    std::vector<uint8_t> record_;
    HWND window_ = nullptr;
    HDC dc_ = nullptr;
    HBITMAP dib_ = nullptr;
    HGDIOBJ oldBitmap_ = nullptr;
    uint8_t* bits_ = nullptr;
    std::vector<RGBQUAD> colours_;
};

// The loaded plugin. Exports are looked up by their decorated names, _Name@16.
class Plugin {
public:
    explicit Plugin(const std::string& fileName);
    ~Plugin();
    Plugin(const Plugin&) = delete;
    Plugin& operator=(const Plugin&) = delete;

    bool Loaded() const { return module_ != nullptr; }
    HMODULE Module() const { return module_; }
    FARPROC Find(const std::string& name) const;
    // Calls the export; a missing export is reported as INT32_MIN.
    int32_t Call(const std::string& name, int32_t a = 0, int32_t b = 0, int32_t c = 0, int32_t d = 0) const;
    // Names in the plugin's export table, in the table's order.
    std::vector<std::string> ExportNames() const;

private:
    HMODULE module_ = nullptr;
};

// Shift-JIS (code page 932) to UTF-8, for comparing and printing the plugin's texts.
std::string Cp932ToUtf8(const char* text);
// UTF-8 to Shift-JIS, through the platform's code page tables.
std::string Utf8ToCp932(const char* text);

// How many times the host's own window procedure received a message.
int HostMessageCount(UINT message);
// The host window's own procedure, as the window class registers it.
WNDPROC HostWindowProcedure();

// Pixels of a window's client area, or of the screen for a null window (0x00RRGGBB, rows
// top-down), read back through GDI.
std::vector<uint32_t> CaptureScreen(HWND window, int x, int y, int width, int height);

// Writes 0x00RRGGBB pixels (rows top-down) as a PNG file.
bool SavePng(const char* path, const std::vector<uint32_t>& pixels, int width, int height);

// Under Xvfb there is no window manager, and Wine waits two seconds for one whenever a
// managed window is hidden, which the screen release does every time. Makes this program's
// windows unmanaged (Wine's per-program setting, read when its display driver starts with the
// first window, so call it before any window exists); on Windows the key means nothing.
void UseUnmanagedWindows();

// The test programs' "--name=value" options: the value after prefix (such as "--plugin="),
// or the fallback when the option is not given.
std::string OptionText(int argc, char** argv, const char* prefix, const char* fallback);
int32_t OptionInt(int argc, char** argv, const char* prefix, int32_t fallback);

// Pumps the thread's pending window messages.
void PumpMessages();

}  // namespace host
