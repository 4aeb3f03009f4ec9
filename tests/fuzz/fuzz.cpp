// Calls the plugin's exports in random order with random and boundary arguments, as a script
// that gets everything wrong would: variables of every kind and size whose data ends where an
// inaccessible page begins, null variables and records, integers at the edges of every range,
// and now and then the start of a screen with surfaces, chips and characters, so that the
// drawing paths are reached. A crash, a write before a variable's data, or a call that leaves
// the stack pointer moved stops the run with the seed, the call index, the export and its
// arguments; the same seed makes the same calls.
//   zorv_fuzz.exe [--plugin=Zorv.hpi] [--exports=FILE] [--seed=N] [--calls=N] [--trace-from=N]
#include <windows.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "host_emulator.h"

namespace {

// What each of an export's four arguments is: i integer, v variable, r host screen record,
// p pointer to a host buffer.
struct Export {
    std::string name;
    char kind[4];
    std::vector<int32_t> statuses;  // every status it may return
    bool passesDxResults = false;   // and DirectDraw results, passed through
    FARPROC proc;
};

constexpr size_t PAGE = 4096, DESCRIPTOR = 64, PREFIX_FILL = 0xC3;

// A script variable whose data ends at an inaccessible page: a read or write past its end
// faults at once. The bytes before the data are filled and checked after every call.
struct GuardedVariable {
    uint8_t descriptor[DESCRIPTOR] = {};
    uint8_t* page = nullptr;  // two pages: the data at the end of the first, the second no access
    size_t bytes = 0;
    uint8_t* Data() const { return page + PAGE - bytes; }
    // New storage every time, the old left as it is: as when a script dimensions a variable
    // again, an array the plugin keeps (a character column) stays where it was.
    void Make(uint16_t tag, int32_t size4) {
        page = static_cast<uint8_t*>(VirtualAlloc(nullptr, 2 * PAGE, MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE));
        DWORD old;
        VirtualProtect(page + PAGE, PAGE, PAGE_NOACCESS, &old);
        bytes = static_cast<size_t>(size4) * 4;
        std::memset(page, PREFIX_FILL, PAGE - bytes);
        std::memset(descriptor, 0, sizeof descriptor);
        std::memcpy(descriptor, &tag, sizeof tag);
        std::memcpy(descriptor + 8, &size4, sizeof size4);
        uint8_t* data = Data();
        std::memcpy(descriptor + 28, &data, sizeof data);
    }
    bool PrefixIntact() const {
        for (size_t i = 0; i < PAGE - bytes; ++i)
            if (page[i] != PREFIX_FILL) return false;
        return true;
    }
    int32_t Arg() const { return static_cast<int32_t>(reinterpret_cast<uintptr_t>(descriptor)); }
};

// Calls from this index on are printed as they return (--trace-from=N), to see how a failing
// run got where it failed.
long traceFrom = LONG_MAX;

// Where the run is, for the report of a crash.
struct Current {
    uint32_t seed = 0;
    long index = 0;
    const Export* call = nullptr;
    int32_t args[4] = {};
} current;

void Report(const char* what) {
    std::printf("FAILED: %s at call %ld of seed %u: %s(%d, %d, %d, %d)", what, current.index, current.seed,
                current.call ? current.call->name.c_str() : "?", current.args[0], current.args[1], current.args[2],
                current.args[3]);
    for (int k = 0; k < 4 && current.call; ++k)  // a variable as its type tag and size
        if (current.call->kind[k] == 'v' && current.args[k] != 0) {
            const uint8_t* d = reinterpret_cast<const uint8_t*>(static_cast<uintptr_t>(current.args[k]));
            std::printf(", argument %d: tag %u size %d", k + 1, d[0] | d[1] << 8, *reinterpret_cast<const int32_t*>(d + 8));
        }
    std::printf("\n");
    std::fflush(stdout);
}

LONG WINAPI Crashed(EXCEPTION_POINTERS* info) {
    // The code, and where: the module and the offset into it.
    void* at = info->ExceptionRecord->ExceptionAddress;
    HMODULE module = nullptr;
    char name[MAX_PATH] = "?";
    if (GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                           static_cast<const char*>(at), &module))
        GetModuleFileNameA(module, name, sizeof name);
    char what[MAX_PATH + 64];
    std::snprintf(what, sizeof what, "exception 0x%08lX in %s+0x%X", info->ExceptionRecord->ExceptionCode, name,
                  static_cast<unsigned>(static_cast<const char*>(at) - reinterpret_cast<const char*>(module)));
    Report(what);
    TerminateProcess(GetCurrentProcess(), 3);
    return EXCEPTION_EXECUTE_HANDLER;
}

// Calls a __stdcall export of four arguments and measures how far the stack pointer moved
// across the call: it must come back to where it was.
int32_t CallMeasured(FARPROC proc, const int32_t* args, int32_t* moved) {
    struct Frame {
        FARPROC proc;
        int32_t a, b, c, d;
    } frame = {proc, args[0], args[1], args[2], args[3]};
    int32_t result, delta;
    asm volatile(
        "movl %%esp, %%esi\n\t"
        "pushl 16(%2)\n\t"
        "pushl 12(%2)\n\t"
        "pushl 8(%2)\n\t"
        "pushl 4(%2)\n\t"
        "call *(%2)\n\t"
        "movl %%esp, %%edx\n\t"
        "subl %%esi, %%edx\n\t"
        "movl %%esi, %%esp\n\t"
        : "=a"(result), "=d"(delta)
        : "b"(&frame)
        : "esi", "ecx", "memory", "cc");
    *moved = delta;
    return result;
}

std::string Trim(const std::string& text) {
    const size_t first = text.find_first_not_of(' '), last = text.find_last_not_of(' ');
    return first == std::string::npos ? "" : text.substr(first, last - first + 1);
}

// The exports, their argument kinds and the status codes they may return, from the export
// table: rows of cells separated by |, the name first, the four arguments (each starting with
// its kind) third to sixth, the status codes seventh.
std::vector<Export> LoadExports(const host::Plugin& plugin, const std::string& path) {
    std::vector<Export> list;
    std::ifstream in(path);
    std::string line;
    while (std::getline(in, line)) {
        std::vector<std::string> cells;
        std::istringstream row(line);
        for (std::string cell; std::getline(row, cell, '|');) cells.push_back(Trim(cell));
        if (cells.size() < 7 || cells[0].empty() || cells[0][0] == '#') continue;
        Export e;
        e.name = cells[0];
        for (int k = 0; k < 4; ++k) {
            const std::string kind = cells[2 + k].substr(0, cells[2 + k].find(' '));
            e.kind[k] = kind == "screen" ? 'r' : kind == "ptr" ? 'p' : kind.find("var") != std::string::npos ? 'v' : 'i';
        }
        std::istringstream codes(cells[6]);
        for (std::string code; codes >> code;) {
            if (code == "dd") e.passesDxResults = true;
            else e.statuses.push_back(std::stoi(code));
        }
        e.proc = GetProcAddress(plugin.Module(), ("_" + e.name + "@16").c_str());
        if (e.proc != nullptr) list.push_back(e);
    }
    return list;
}

class Fuzzer {
public:
    Fuzzer(std::vector<Export> exports, uint32_t seed) : exports_(std::move(exports)), random_(seed), screen_(320, 240) {
        for (GuardedVariable& v : variables_) Remake(v);
        buffer_.Make(4, 192);  // a 768-byte host buffer
    }

    // Makes `count` calls; false when one of them went wrong (reported).
    bool Run(long count) {
        for (current.index = 0; current.index < count; ++current.index) {
            // A start costs Wine about half a second, so the calls that end what it made are
            // mostly passed over: the drawing state then lives for a few hundred calls.
            if (Below(150) == 0 && !StartScreen()) return false;
            if (Below(200) == 0) Remake(variables_[Below(VARIABLES)]);
            const Export* pick = &exports_[Below(static_cast<uint32_t>(exports_.size()))];
            while (Ends(pick->name) && Below(10) != 0) pick = &exports_[Below(static_cast<uint32_t>(exports_.size()))];
            const Export& e = *pick;
            int32_t args[4];
            for (int k = 0; k < 4; ++k) args[k] = Argument(e.kind[k]);
            if (e.name == "ZorvUpdateScreen") args[0] = static_cast<int32_t>(Below(3) * 65536);  // no long waits
            // System parameters only read: a random setting written with random flags changes
            // the Wine prefix for good (later runs in it hang at start-up).
            static const int32_t READS[] = {0, 1, 3, 5, 10, 14, 16, 22, 31, 41, 43, 45, 48, 50, 54, 58, 66, 72, 74, 94, 112, 115};
            if (e.name == "ZorvmiscSystemParameter") args[1] = 0, args[2] = READS[Below(sizeof READS / sizeof READS[0])];
            if (!Call(e, args)) return false;
            // A loan given back at once now and then, so that the return path is reached too.
            if (e.name == "ZorvBeginDraw" && lastStatus_ == 0 && Below(2) && !CallByName("ZorvEndDraw")) return false;
            host::PumpMessages();
        }
        return true;
    }

private:
    static constexpr int VARIABLES = 12;

    uint32_t Below(uint32_t n) { return static_cast<uint32_t>(random_() % n); }
    static bool Ends(const std::string& name) {
        for (const char* n : {"ZorvExit", "ZorvReleaseDD", "ZorvReleasePrimarySurface", "ZorvInitializeChip", "ZorvInitializeCharacter",
                              "ZorvReleaseOffscreenSurface", "ZorvInitializeAnimationPattern"})
            if (name == n) return true;
        return false;
    }

    int32_t Integer() {
        static const int32_t EDGES[] = {0, 1, 2, 3, 4, 7, 8, 16, 31, 32, 255, 256, 1023, 1024, 65535, 65536,
                                        0x7FFFFFFE, 0x7FFFFFFF, INT32_MIN, -1, -2, -3, 320, 240, 0x10000000};
        switch (Below(5)) {
            case 0: return EDGES[Below(sizeof EDGES / sizeof EDGES[0])];
            case 1: return static_cast<int32_t>(random_());
            case 2: return static_cast<int32_t>(Below(40)) - 4;
            default: return static_cast<int32_t>(Below(5));  // chip, surface and character numbers
        }
    }

    int32_t Argument(char kind) {
        switch (kind) {
            case 'v': return Below(12) == 0 ? 0 : variables_[Below(VARIABLES)].Arg();
            case 'r': return Below(12) == 0 ? 0 : screen_.Arg();
            case 'p': return Below(12) == 0 ? 0 : static_cast<int32_t>(reinterpret_cast<uintptr_t>(buffer_.Data()));
            default: return Integer();
        }
    }

    // A variable of a random kind (string, double, integer, or an unknown tag) and size.
    void Remake(GuardedVariable& v) {
        static const uint16_t TAGS[] = {2, 3, 4, 4, 4, 1};
        static const int32_t SIZES[] = {0, 1, 2, 3, 4, 8, 16, 26, 64, 192, 256};
        v.Make(TAGS[Below(6)], SIZES[Below(11)]);
        // Small numbers mostly (character, chip and mode numbers), any value now and then, or
        // capital letters, the codes of the font made at the start.
        const bool letters = Below(4) == 0;
        for (size_t i = 0; i + 4 <= v.bytes; i += 4) {
            const int32_t value = letters ? 0x41414141 + static_cast<int32_t>(Below(26)) : Below(4) ? static_cast<int32_t>(Below(8)) : Integer();
            std::memcpy(v.Data() + i, &value, 4);
        }
    }

    bool Call(const Export& e, const int32_t* args) {
        current.call = &e;
        std::memcpy(current.args, args, sizeof current.args);
        int32_t moved = 0;
        const bool trace = current.index >= traceFrom;  // flushed before the call: a call that hangs shows
        if (trace) std::printf("%ld %s(%d, %d, %d, %d)", current.index, e.name.c_str(), args[0], args[1], args[2], args[3]), std::fflush(stdout);
        const int32_t status = CallMeasured(e.proc, args, &moved);
        if (trace) std::printf(" = %d\n", status), std::fflush(stdout);
        lastStatus_ = status;
        if (status >= 0) ++succeeded_[e.name];
        if (moved != 0) return Report("stack pointer moved"), false;
        const bool listed = std::find(e.statuses.begin(), e.statuses.end(), status) != e.statuses.end();
        if (!listed && !(e.passesDxResults && status < -255)) {
            char what[64];
            std::snprintf(what, sizeof what, "status %d, not in the export table", status);
            return Report(what), false;
        }
        for (const GuardedVariable& v : variables_)
            if (!v.PrefixIntact()) return Report("write before a variable's data"), false;
        return buffer_.PrefixIntact() || (Report("write before the host buffer"), false);
    }

    bool CallByName(const char* name, int32_t a = 0, int32_t b = 0, int32_t c = 0, int32_t d = 0) {
        for (const Export& e : exports_)
            if (e.name == name) {
                const int32_t args[4] = {a, b, c, d};
                return Call(e, args);
            }
        return true;
    }

    // The start a script makes, with some of the sizes and flags chosen at random: library,
    // DirectDraw, surface table, windowed screen at the desktop's depth, an off-screen surface
    // with chips, characters, a font of chips for A to Z and an animation pattern.
    bool StartScreen() {
        const int32_t render = static_cast<int32_t>(Below(4));
        HDC desktop = GetDC(nullptr);
        const int32_t bits = GetDeviceCaps(desktop, BITSPIXEL);
        ReleaseDC(nullptr, desktop);
        bool ok = CallByName("ZorvInitialize", screen_.Arg(), 2, render) && CallByName("ZorvCreateDD", 0) &&
                  CallByName("ZorvInitializeSurface", 4) &&
                  CallByName("ZorvCreatePrimarySurface", 320, 240, bits, render == 0 || render == 2 ? 0 : 8) &&
                  CallByName("ZorvCreateOffscreenSurface", 1, 64, 64, Below(2) ? 0 : 0x120) &&
                  CallByName("ZorvInitializeChip", 4) && CallByName("ZorvInitializeCharacter", 8);
        for (int32_t n = 0; ok && n < 4; ++n) ok = CallByName("ZorvCreateChip", n, 16, 16);
        GuardedVariable& columns = variables_[0];
        columns.Make(4, 8);
        for (int32_t c = 0; ok && c < 26; ++c) ok = CallByName("ZorvSetCharacterVariable", columns.Arg(), c);
        for (int32_t n = 0; ok && n < 4; ++n) ok = CallByName("ZorvCreateCharacter", n, n, 16 * n, 20);
        GuardedVariable& small = variables_[1];
        small.Make(4, 26);
        for (int32_t i = 0; i < 26; ++i) {
            const int32_t chip = i & 3;  // the font's chips; as pattern steps: chips 0, 2, 0 for 1, 3, 1 frames
            std::memcpy(small.Data() + 4 * i, &chip, 4);
        }
        return ok && CallByName("ZorvSetStringChip", small.Arg(), 'A', 26) && CallByName("ZorvInitializeAnimationPattern", 4) &&
               CallByName("ZorvSetAnimationPattern", small.Arg(), 0, 3) && CallByName("ZorvSelectSurface", static_cast<int32_t>(Below(2)));
    }

    std::vector<Export> exports_;
    std::mt19937 random_;
    host::Screen screen_;
    GuardedVariable variables_[VARIABLES];
    GuardedVariable buffer_;
    std::map<std::string, long> succeeded_;
    int32_t lastStatus_ = 0;

public:
    // The exports that never succeeded in this run: paths the run did not reach.
    std::string NeverSucceeded() const {
        std::string names;
        for (const Export& e : exports_)
            if (succeeded_.count(e.name) == 0) names += " " + e.name;
        return names;
    }
};

}  // namespace

int main(int argc, char** argv) {
    host::UseUnmanagedWindows();
    SetUnhandledExceptionFilter(Crashed);
    const std::string pluginName = host::OptionText(argc, argv, "--plugin=", "Zorv.hpi");
    const uint32_t seed = static_cast<uint32_t>(host::OptionInt(argc, argv, "--seed=", 1));
    const long calls = host::OptionInt(argc, argv, "--calls=", 2000);
    traceFrom = host::OptionInt(argc, argv, "--trace-from=", INT32_MAX);
    host::Plugin plugin(pluginName);
    if (!plugin.Loaded()) return std::printf("cannot load %s\n", pluginName.c_str()), 2;
    std::vector<Export> exports = LoadExports(plugin, host::OptionText(argc, argv, "--exports=", "exports.table"));
    if (exports.size() != 83) return std::printf("%zu of the 83 exports found\n", exports.size()), 2;
    current.seed = seed;
    Fuzzer fuzzer(std::move(exports), seed);
    const bool ok = fuzzer.Run(calls);
    plugin.Call("ZorvExit");
    if (ok) std::printf("seed %u: %ld calls, no crash, no stray write, stack kept; never succeeded:%s\n", seed, calls,
                        fuzzer.NeverSucceeded().c_str());
    return ok ? 0 : 1;
}
