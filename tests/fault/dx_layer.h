// A thin layer over Wine's real DirectDraw and Direct3D. It patches the entries of ddraw.dll's
// shared interface tables and its two entry points, so that every call the plugin makes
// passes through a hook that records it, can fail it or answer it with a chosen result, and
// counts the references the plugin holds. Calls from anywhere else pass straight through.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

namespace layer {

struct CallRecord {
    std::string method;      // "IDirectDrawSurface7::Blt(...)" with the arguments worth seeing
    std::string exportName;  // the export under way
    HRESULT result;
    bool injected;
};

// Patches Wine's ddraw.dll before the plugin loads; hiddenEntry ("DirectDrawEnumerateExA",
// "DirectDrawCreateEx" or null) is an entry point GetProcAddress must no longer find.
bool Install(const char* hiddenEntry);
void SetPlugin(HMODULE plugin);  // calls returning into this module are the plugin's
void SetExport(const char* name);
// Forgets the record, the fault and the answers (not the references held).
void Reset();
// Fails the n-th checked call from now on (1-based; AddRef and Release are never failed).
void FailCall(int n, HRESULT hr);
// Answers every call of a method ("IDirectDraw7::SetDisplayMode") without calling Wine: for
// what Wine cannot do under Xvfb (mode switches, lost surfaces).
void Answer(const char* method, HRESULT hr);
const std::vector<CallRecord>& Calls();
int CheckedCalls();
// The references the plugin took and has not given back, a line each; empty when none.
std::string HeldReferences();

}  // namespace layer
