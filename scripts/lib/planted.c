// A library with what the checks of binaries.sh look for, which leaves a file beside itself when a program loads it.

#include <windows.h>

#define RT_CODE __attribute__((section("RT_CODE"), noinline))

__declspec(dllexport) volatile int value;

__attribute__((noinline)) int ordinary(int x) {
    return x + value;
}

__attribute__((noinline)) int another(int x) {
    return x - value;
}

RT_CODE void callsTheSystem(void) {
    Sleep(0);
}

RT_CODE void callsTheSystemThroughARegister(void) {
    for (int i = 0; i < value; ++i) {
        SetEvent(0);
    }
}

RT_CODE int jumpsOutside(int x) {
    return ordinary(x);
}

RT_CODE void* givesAnAddressOutside(void) {
    return (void*)&another;
}

RT_CODE void staysInside(void) {
    callsTheSystem();
}

__asm__(".section .both,\"wx\"\n.long 0\n.text");

BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, void* reserved) {
    (void)reserved;
    char path[MAX_PATH + 8];
    if (reason == DLL_PROCESS_ATTACH) {
        GetModuleFileNameA(instance, path, MAX_PATH);
        lstrcatA(path, ".loaded");
        CloseHandle(CreateFileA(path, GENERIC_WRITE, 0, 0, CREATE_ALWAYS, 0, 0));
    }
    return TRUE;
}
