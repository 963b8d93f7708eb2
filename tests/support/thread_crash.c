#include <windows.h>

// Crashes on a thread that is not the first. A test shows that this is seen as a failure.
static DWORD WINAPI Crash(void* nothing) {
    *(volatile int*)nothing = 1;
    return 0;
}

int main(void) {
    WaitForSingleObject(CreateThread(NULL, 0, Crash, NULL, 0, NULL), INFINITE);
    return 0;
}
