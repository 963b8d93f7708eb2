#include <windows.h>

// Keeps a Wine prefix and its background services open between the programs of a test run.
int main(void) {
    Sleep(INFINITE);
    return 0;
}
