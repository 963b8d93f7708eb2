/* Both exports by their import libraries, without any header: Microsoft's compiler in the test has none. */
typedef unsigned long(__stdcall* ReleaseMethod)(void* object);

__declspec(dllimport) long __stdcall CreateQSN(void** object);
__declspec(dllimport) long __stdcall CreateQSN2(void** object);

static unsigned long Release(void* object) {
    ReleaseMethod* methods = *(ReleaseMethod**)object;
    return methods[2](object);
}

int start(void) {
    void* first = 0;
    void* second = 0;
    if (CreateQSN(&first) != 0 || CreateQSN2(&second) != 0) return 1;
    return Release(first) == 0 && Release(second) == 0 ? 42 : 2;
}

#ifdef __MINGW32__
int main(void) { return start(); }
#endif
