// A thin layer over Wine's real DirectDraw and Direct3D. It patches the entries of ddraw.dll's
// shared interface tables and the addresses of its two entry points, so that every call the
// plugin makes passes through a hook that records it, can fail it with a chosen result or
// answer it itself, and counts the references the plugin holds. Calls from anywhere else
// (the tests, Wine itself) pass straight through.
#pragma once

#include <windows.h>

#include <cstdint>
#include <string>
#include <vector>

namespace layer {

struct CallRecord {
    std::string method;      // "IDirectDrawSurface7::Blt(...)": method and the arguments that matter
    std::string exportName;  // the export under way
    HRESULT result;
    bool injected;
};

// Loads Wine's ddraw.dll and patches it; call before the plugin is loaded. hiddenEntry names
// an entry point that GetProcAddress must no longer find ("DirectDrawEnumerateExA",
// "DirectDrawCreateEx"), or is null.
bool Install(const char* hiddenEntry);
// Calls whose return address lies in this module are the plugin's.
void SetPlugin(HMODULE plugin);
// The export the next records belong to.
void SetExport(const char* name);

// Forgets the record, the faults and the answers (not the references held).
void Reset();
// Fails the n-th checked call from now on (1-based; AddRef and Release are never failed).
void FailCall(int n, HRESULT hr);
// Answers the nth call (0: every call) of a method ("IDirectDraw7::SetDisplayMode") with hr
// without calling Wine: for what Wine cannot do under Xvfb (mode switches, lost surfaces).
void Answer(const char* method, HRESULT hr, int nth = 0);

const std::vector<CallRecord>& Calls();
// Checked calls made since the last Reset.
int CheckedCalls();
// The references the plugin took and has not given back, one line each; empty when none.
std::string HeldReferences();

}  // namespace layer
