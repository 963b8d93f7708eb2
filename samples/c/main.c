/*
 * The account library in plain C: signs in with an access token and prints whose it is.
 *
 *     qsn-user ACCESS_TOKEN [PRODUCT_SID]
 */
#include <qsn/qsn.h>

#include <stdio.h>
#include <stdlib.h>

/* ------------------------------------------------------------------------- what the library calls, as C has objects
 * ---
 */

/* Both objects live as long as the program, so they count no references. */
static ULONG Counted(void) { return 2; }

static HRESULT Itself(REFIID wanted, REFIID own, void* self, void** object) {
    const BOOL known = IsEqualIID(wanted, &IID_IUnknown) || IsEqualIID(wanted, own);
    if (!object) return E_POINTER;
    *object = known ? self : NULL;
    return known ? S_OK : E_NOINTERFACE;
}

/* What the service has to say beside the answers, which this program leaves out. */
static HRESULT STDMETHODCALLTYPE NewsQueryInterface(IQSNCallbackFunc* self, REFIID iid, void** object) {
    return Itself(iid, &IID_IQSNCallbackFunc, self, object);
}
static ULONG STDMETHODCALLTYPE NewsCount(IQSNCallbackFunc* self) {
    (void)self;
    return Counted();
}
static HRESULT STDMETHODCALLTYPE HearNews(IQSNCallbackFunc* self, int32_t action, int32_t result, void* data) {
    (void)self, (void)action, (void)result, (void)data;
    return S_OK;
}
static IQSNCallbackFuncVtbl newsMethods = {NewsQueryInterface, NewsCount, NewsCount, HearNews};
static IQSNCallbackFunc news = {&newsMethods};

/* How one request ended. */
typedef struct Answer {
    IQSNCompletion completion; /* first, so that a pointer to it is one to all */
    HANDLE arrived;
    QSN_OUTCOME outcome;
    IQSNDataSet* user; /* a reference of its own, if the request brings a user */
} Answer;

static HRESULT STDMETHODCALLTYPE AnswerQueryInterface(IQSNCompletion* self, REFIID iid, void** object) {
    return Itself(iid, &IID_IQSNCompletion, self, object);
}
static ULONG STDMETHODCALLTYPE AnswerCount(IQSNCompletion* self) {
    (void)self;
    return Counted();
}
static HRESULT STDMETHODCALLTYPE Take(IQSNCompletion* self, IQSNRequest* request, const QSN_OUTCOME* outcome,
                                      void* data) {
    Answer* const answer = (Answer*)self;
    (void)request;
    answer->outcome = *outcome;
    answer->user = SUCCEEDED(outcome->result) ? data : NULL;
    if (answer->user) answer->user->lpVtbl->AddRef(answer->user);
    SetEvent(answer->arrived);
    return S_OK;
}
static IQSNCompletionVtbl answerMethods = {AnswerQueryInterface, AnswerCount, AnswerCount, Take};
static Answer answer = {{&answerMethods}, NULL, {0}, NULL};

/* ---------------------------------------------------------------------------------------------- what this program does
 */

/* Makes a request and waits for its end. */
static BOOL Ask(IQSNRequests* requests, uint32_t kind, const char* text) {
    QSN_REQUEST request = {sizeof(request), 0, 30000, 0, NULL, 0, 0};
    HRESULT result;
    request.kind = kind;
    request.text = text;
    result = requests->lpVtbl->Start(requests, &request, &answer.completion, NULL);
    if (SUCCEEDED(result)) {
        WaitForSingleObject(answer.arrived, INFINITE);
        result = answer.outcome.result;
    }
    if (SUCCEEDED(result)) return TRUE;
    fprintf(stderr, "qsn-user: failed with 0x%08lx; service %ld, HTTP %lu, system %lu%s\n", (unsigned long)result,
            (long)answer.outcome.callbackResult, (unsigned long)answer.outcome.httpStatus,
            (unsigned long)answer.outcome.systemError, answer.outcome.canRetry ? "; may work later" : "");
    return FALSE;
}

static void PrintField(const char* label, int32_t field) {
    char text[256];
    if (SUCCEEDED(answer.user->lpVtbl->GetString(answer.user, field, text, sizeof(text))))
        printf("%s%s\n", label, text);
}

static BOOL PrintUser(IQSNRequests* requests, const char* token) {
    if (!Ask(requests, QSN_REQUEST_SIGNIN, token) || !Ask(requests, QSN_REQUEST_GET_USERINFO, NULL)) return FALSE;
    if (!answer.user) return FALSE;
    PrintField("user id  ", QSN_USER_ID);
    PrintField("name     ", QSN_USER_NAME);
    PrintField("e-mail   ", QSN_USER_EMAIL);
    answer.user->lpVtbl->Release(answer.user);
    return TRUE;
}

int main(int argc, char** argv) {
    wchar_t sid[64] = L"QSN-DEMO";
    IPVSubscription* qsn = NULL;
    IQSNRequests* requests = NULL;
    BOOL done = FALSE;
    if (argc < 2 || argc > 3 || (argc == 3 && !MultiByteToWideChar(CP_ACP, 0, argv[2], -1, sid, 64))) {
        fprintf(stderr, "usage: qsn-user ACCESS_TOKEN [PRODUCT_SID]\n");
        return 2;
    }
    SetConsoleOutputCP(CP_UTF8);
    answer.arrived = CreateEventW(NULL, FALSE, FALSE, NULL);
    if (!answer.arrived || FAILED(CreateQSN((void**)&qsn))) return EXIT_FAILURE;
    if (SUCCEEDED(qsn->lpVtbl->Init(qsn, sid, &news)) &&
        SUCCEEDED(qsn->lpVtbl->QueryInterface(qsn, &IID_IQSNRequests, (void**)&requests))) {
        done = PrintUser(requests, argv[1]);
        requests->lpVtbl->Release(requests);
        qsn->lpVtbl->Uninit(qsn);
    }
    qsn->lpVtbl->Release(qsn);
    CloseHandle(answer.arrived);
    return done ? EXIT_SUCCESS : EXIT_FAILURE;
}
