/*
 * QSN account client library: the interfaces, identifiers and codes that a host application compiles against.
 *
 * A host loads qsn.dll, obtains one library object from CreateQSN, gives it the product SID and a callback, and calls
 * its methods. Methods that need the account service only queue their work and return; the library's one worker thread
 * does it, in calling order, and reports through IQSNCallbackFunc.
 *
 * Rules that hold for everything below:
 *  - Any thread may call any function. The host must put Init, Uninit and the last Release in order: no other method of
 *    the object may be running when the last Release is made.
 *  - The callback is always called on the worker thread, one call at a time. Inside it, a method that waits for the
 *    worker (marked "waits" below) returns QSN_RETURN_E_TIMEOUT at once and does nothing. Everything else works there.
 *    Uninit and the last Release end the session there too: no further callback comes. The library releases its
 *    references to the callback when the call has returned, and the worker thread then ends by itself. Until then it
 *    keeps the DLL in memory, so even FreeLibrary may be called.
 *  - Objects follow COM rules: reference counts, QueryInterface, no exceptions. Each side frees the memory that it
 *    allocated. Texts passed to the library are copied before the method returns.
 *  - Narrow texts are zero-terminated UTF-8, wide texts zero-terminated UTF-16. Lengths of narrow texts are in bytes.
 *  - COM need not be initialised by the caller.
 *
 * Plain C++11; no dependency beyond <unknwn.h>.
 */
#ifndef QSN_QSN_H
#define QSN_QSN_H

#include <unknwn.h>

#include <stdint.h>

#define QSN_VERSION_MAJOR 0
#define QSN_VERSION_MINOR 1
#define QSN_VERSION_PATCH 0

/* ------------------------------------------------------------------------------------------------ result codes --- */

/*
 * What the methods return, besides the system's own S_OK, E_NOTIMPL (0x80004001), E_NOINTERFACE (0x80004002),
 * E_POINTER (0x80004003), E_FAIL (0x80004005), E_OUTOFMEMORY (0x8007000E), E_UNEXPECTED (0x8000FFFF) and E_INVALIDARG
 * (0x80070057).
 */
static const HRESULT QSN_RETURN_E_NO_TOKEN = static_cast<HRESULT>(0x86210002L);        /* no token held or given */
static const HRESULT QSN_RETURN_E_NOT_INITIALIZED = static_cast<HRESULT>(0x86210004L); /* before Init, after Uninit */
static const HRESULT QSN_RETURN_E_ALREADY_INITIALIZED = static_cast<HRESULT>(0x86210005L); /* Init while initialised */
static const HRESULT QSN_RETURN_E_TIMEOUT =
    static_cast<HRESULT>(0x86210006L); /* a task waited for was dropped or took 120 s */

/*
 * What the callback gets as the result of every action except QSN_ACTION_NOTIFY. After 2, 3, 101 and 107 the session no
 * longer holds an access token, and the user has to sign in again. There are two exceptions. A quota request never
 * removes the token. If a token check is refused while its token is the shared one, the library deletes the shared
 * token, and the session ends through QSN_ACTION_SSO_SIGNOUT_RESULT.
 */
enum QSN_CALLBACK_RESULT {
    QSN_CALLBACK_OK = 0,
    QSN_CALLBACK_NETWORK_OR_UNKNOWN = 1,  /* network not available, or a failure without a code of its own */
    QSN_CALLBACK_SERVER_RESULT_1 = 2,     /* the service answered "result" 1 */
    QSN_CALLBACK_NOT_SIGNED_IN = 3,       /* there is no access token to work with; nothing was sent */
    QSN_CALLBACK_SERVER_RESULT_2 = 4,     /* the service answered "result" 2 */
    QSN_CALLBACK_REPLY_INCOMPLETE = 5,    /* the reply has no "result", or "result" is 5 */
    QSN_CALLBACK_REPLY_NOT_AUTHENTIC = 8, /* the reply's authentication is missing or wrong, or "result" is 4 */
    QSN_CALLBACK_SERVER_RESULT_3 = 9,     /* the service answered "result" 3 */
    QSN_CALLBACK_SERVER_RESULT_6 = 10,    /* the service answered "result" 6 */
    QSN_CALLBACK_REQUEST_NOT_SIGNED = 11, /* the request's authentication could not be made; nothing was sent */
    QSN_CALLBACK_SERVER_RESULT_101 = 101, /* 101 to 107: the service answered the same number */
    QSN_CALLBACK_SERVER_RESULT_102 = 102,
    QSN_CALLBACK_SERVER_RESULT_103 = 103,
    QSN_CALLBACK_SERVER_RESULT_104 = 104,
    QSN_CALLBACK_SERVER_RESULT_105 = 105,
    QSN_CALLBACK_SERVER_RESULT_106 = 106,
    QSN_CALLBACK_SERVER_RESULT_107 = 107
};

/* ------------------------------------------------------------------------------------------ actions and notify --- */

/* What a callback reports. `data` is valid only during the call, unless the host takes a reference of its own. */
enum QSN_ACTION {
    QSN_ACTION_SIGNIN_RESULT = 1,               /* data: null; with result 3 the login page address (narrow text) */
    QSN_ACTION_SIGNOUT_RESULT = 2,              /* data: null */
    QSN_ACTION_GET_USERINFO_RESULT = 4,         /* data: IQSNUserInfo*, or null if there is none */
    QSN_ACTION_GET_PRODUCTLIST_RESULT = 5,      /* data: IQSNList* of IQSNDataSet, or null */
    QSN_ACTION_NOTIFY = 6,                      /* result: a QSN_NOTIFY id; data: narrow text or null */
    QSN_ACTION_CHECK_TOKEN_ROUTINE_RESULT = 11, /* data: null; only a number from the service itself refuses a token */
    QSN_ACTION_GI_QUERY_RESULT = 12,            /* data: const QSN_GI_QUOTA*, or null */
    QSN_ACTION_GI_LOG_RESULT = 13,              /* data: null */
    QSN_ACTION_GET_PRODUCTLIST_V2_RESULT = 14,  /* data: IQSNList* of IQSNDataSet, or null */
    QSN_ACTION_SSO_SIGNIN_RESULT = 1001,        /* as SIGNIN, when another application of the suite signed in */
    QSN_ACTION_SSO_SIGNOUT_RESULT = 1002        /* as SIGNOUT, when another application of the suite signed out */
};

/* The `result` of QSN_ACTION_NOTIFY. */
enum QSN_NOTIFY {
    QSN_NOTIFY_SERVICE_MESSAGE = 1,    /* data: a message from the service for the user */
    QSN_NOTIFY_MEMBER_TOKEN_SET = 5,   /* data: the member token that another application has set, or that this
                                          session has renewed by itself */
    QSN_NOTIFY_REFRESH_TOKEN_SET = 6,  /* data: the refresh token that another application has set */
    QSN_NOTIFY_MEMBER_TOKEN_CLEAR = 7, /* data: null */
    QSN_NOTIFY_REFRESH_TOKEN_CLEAR = 8 /* data: null */
};

/* ----------------------------------------------------------------------------------------- configuration items --- */

/* Ids for IPVSubscription::Config. "Needs Init" ones return QSN_RETURN_E_NOT_INITIALIZED outside Init ... Uninit. */
enum QSN_CONFIG {
    QSNCFG_SET_LOG_FOLDER = 1,             /* wide text: folder of the usage log's Orb.dll, used by the next Init; a
                                              relative one is made absolute at once */
    QSNCFG_SET_LANGUAGE = 2,               /* wide text; needs Init; waits */
    QSNCFG_SET_PLATFORM_INFO = 5,          /* uint32_t*: 1 64-bit, 2 32-bit, else none; null: 0; needs Init; waits */
    QSNCFG_ENABLE_SINGLE_SIGNON = 6,       /* uint32_t* switch; needs Init; off again at Uninit */
    QSNCFG_SET_EXTEND_DATA = 7,            /* wide text, sent with most requests; needs Init; waits */
    QSNCFG_ENABLE_CHECK_TOKEN_ROUTINE = 8, /* uint32_t* switch; needs Init; waits */
    QSNCFG_USE_TESTBED = 9,                /* uint32_t* switch: staging service; needs Init; waits */
    QSNCFG_GI_QUERY = 10,                  /* data ignored; needs Init; waits; result as QSN_ACTION_GI_QUERY_RESULT */
    QSNCFG_GI_LOG = 11,                    /* data ignored; needs Init; waits; result as QSN_ACTION_GI_LOG_RESULT.
                                              Both return E_FAIL without a network, and the callback's own return
                                              value without a token */
    QSNCFG_SET_MEMBER_TOKEN = 12,          /* narrow text or null to clear; *length: its length in bytes */
    QSNCFG_SET_REFRESH_TOKEN = 13,         /* as above */
    QSNCFG_GET_MEMBER_TOKEN = 14,          /* narrow buffer or null; *length: its size, then the text's length */
    QSNCFG_GET_REFRESH_TOKEN = 15          /* as above */
};

/* Data of QSN_ACTION_GI_QUERY_RESULT. */
struct QSN_GI_QUOTA {
    uint32_t size;         /* of this record in bytes: 64 */
    wchar_t resetDate[28]; /* as the service writes it, zero-terminated, cut to fit */
    uint32_t remainCount;  /* downloads left until then */
};

/* -------------------------------------------------------------------------------------------- result interfaces --- */

/* Text fields of the user information (IQSNUserInfo). */
enum QSN_USER_FIELD { QSN_USER_ID = 1, QSN_USER_NAME = 2, QSN_USER_EMAIL = 3 };

/* Text fields of an element of the user menu. */
enum QSN_MENU_FIELD { QSN_MENU_ITEM = 1, QSN_MENU_URL = 2 };

/*
 * Fields of an element of a product list: text unless marked (integer). Sizes are texts of decimal digits. A field that
 * the service did not send is an empty text or 0; the reserved ones are empty texts.
 */
enum QSN_PRODUCT_FIELD {
    QSN_PRODUCT_NAME = 1,
    QSN_PRODUCT_TYPE = 2,
    QSN_PRODUCT_DISPLAY_NAME = 3,
    QSN_PRODUCT_VERSION = 4,
    QSN_PRODUCT_DISPLAY_VERSION = 5,
    QSN_PRODUCT_VERSION_TYPE = 6,
    QSN_PRODUCT_DISPLAY_VERSION_TYPE = 7,
    QSN_PRODUCT_SID = 8,
    QSN_PRODUCT_DOWNLOAD_URL = 9,
    QSN_PRODUCT_DOWNLOAD_URL_MD5 = 10,
    QSN_PRODUCT_STATUS = 11,
    QSN_PRODUCT_RESERVED_12 = 12,
    QSN_PRODUCT_IS_CHECKED = 13,  /* (integer) */
    QSN_PRODUCT_IS_UPGRADED = 14, /* (integer) */
    QSN_PRODUCT_RESERVED_15 = 15,
    QSN_PRODUCT_RESERVED_16 = 16,
    QSN_PRODUCT_RESERVED_17 = 17,
    QSN_PRODUCT_FILE_SIZE = 18,
    QSN_PRODUCT_PATCH_FILE_SIZE = 19,
    QSN_PRODUCT_PATCH_DOWNLOAD_URL = 20,
    QSN_PRODUCT_PATCH_DOWNLOAD_URL_MD5 = 21,
    QSN_PRODUCT_RESERVED_22 = 22,
    QSN_PRODUCT_UPGRADE_PRODUCTS = 23,
    QSN_PRODUCT_CONTENT_PACK_WEB_PAGE_URL = 24,
    QSN_PRODUCT_IS_CONTENT_PACK = 25,         /* (integer) */
    QSN_PRODUCT_NON_SILENT_INSTALLATION = 26, /* (integer) */
    QSN_PRODUCT_ICON = 27,
    QSN_PRODUCT_TUTORIAL_URL = 28,
    QSN_PRODUCT_INTRO_URL = 29,
    QSN_PRODUCT_BELONGS = 30, /* the product that this one goes with */
    QSN_PRODUCT_PUBLISH_DATE = 31,
    QSN_PRODUCT_IS_THIRD_PARTY_PACK = 32, /* (integer) */
    QSN_PRODUCT_PATCH_INFO = 33,
    QSN_PRODUCT_WHAT_NEW_URL = 34,
    QSN_PRODUCT_BACKGROUND_MUSIC = 35, /* (integer) */
    QSN_PRODUCT_SOUND_CLIPS = 36,      /* (integer) */
    QSN_PRODUCT_HAVE_X64_BUILD = 37,   /* (integer) */
    QSN_PRODUCT_STOCK_VIDEO = 38,      /* (integer), though GetFieldType returns E_INVALIDARG */
    QSN_PRODUCT_STOCK_PHOTO = 39,      /* (integer), though GetFieldType returns E_INVALIDARG */
    QSN_PRODUCT_EXTEND_FEATURE = 40,
    QSN_PRODUCT_THUMB1 = 41,
    QSN_PRODUCT_THUMB2 = 42,
    QSN_PRODUCT_CONTENT_DETAIL = 43,
    QSN_PRODUCT_CONTENT_DESCRIPTION = 44,
    QSN_PRODUCT_DEMO_URL = 45
};

/* What GetFieldType reports. */
enum QSN_FIELD_TYPE { QSN_FIELD_TEXT = 1, QSN_FIELD_INTEGER = 5 };

/* {6A0F8D4C-1B53-4E0B-9C56-2F7D3A8E4B11} */
static const IID IID_IQSNDataSet = {0x6a0f8d4c, 0x1b53, 0x4e0b, {0x9c, 0x56, 0x2f, 0x7d, 0x3a, 0x8e, 0x4b, 0x11}};
/* {6A0F8D4D-1B53-4E0B-9C56-2F7D3A8E4B11} */
static const IID IID_IQSNList = {0x6a0f8d4d, 0x1b53, 0x4e0b, {0x9c, 0x56, 0x2f, 0x7d, 0x3a, 0x8e, 0x4b, 0x11}};
/* {6A0F8D4E-1B53-4E0B-9C56-2F7D3A8E4B11} */
static const IID IID_IQSNUserInfo = {0x6a0f8d4e, 0x1b53, 0x4e0b, {0x9c, 0x56, 0x2f, 0x7d, 0x3a, 0x8e, 0x4b, 0x11}};
/* {6A0F8D4F-1B53-4E0B-9C56-2F7D3A8E4B11} */
static const IID IID_IQSNCallbackFunc = {0x6a0f8d4f, 0x1b53, 0x4e0b, {0x9c, 0x56, 0x2f, 0x7d, 0x3a, 0x8e, 0x4b, 0x11}};
/* {B2882D3A-895D-4844-855B-FCF115F181AF} */
static const IID IID_IPVSubscription = {0xb2882d3a, 0x895d, 0x4844, {0x85, 0x5b, 0xfc, 0xf1, 0x15, 0xf1, 0x81, 0xaf}};

/*
 * A record whose fields are addressed by number. It does not change once the host has it, so any thread may read it.
 * It does not depend on the library object: a host may keep it after Uninit and the library object's last Release, but
 * not after FreeLibrary.
 */
struct IQSNDataSet : public IUnknown {
    /*
     * Copies the text of field `id`, zero-terminated, into `buffer` of `bufferSize` bytes.
     * E_POINTER: null buffer. E_INVALIDARG: `id` is not a text field, or bufferSize is not greater than the text's
     * length; the buffer is then left as it was.
     */
    virtual HRESULT STDMETHODCALLTYPE GetString(int32_t id, char* buffer, uint32_t bufferSize) = 0;
    /* The text's length in bytes, without terminator. E_POINTER: null `length`. E_INVALIDARG: not a text field. */
    virtual HRESULT STDMETHODCALLTYPE GetStringLength(int32_t id, uint32_t* length) = 0;
    /* Reserved: E_POINTER for a null output, else E_INVALIDARG. */
    virtual HRESULT STDMETHODCALLTYPE GetObject5(int32_t id, void** output) = 0;
    /* Reserved: E_INVALIDARG. */
    virtual HRESULT STDMETHODCALLTYPE GetObject6(int32_t id, void** output) = 0;
    /* Reserved: E_INVALIDARG. */
    virtual HRESULT STDMETHODCALLTYPE GetObject7(int32_t id, void** output) = 0;
    /*
     * The value of an integer field. E_POINTER: null `value`. E_INVALIDARG: not an integer field. The elements of the
     * user menu have no integer fields and always return E_INVALIDARG.
     */
    virtual HRESULT STDMETHODCALLTYPE GetInt(int32_t id, int32_t* value) = 0;
    /* A QSN_FIELD_TYPE. E_POINTER: null `type`. E_INVALIDARG: no such field. */
    virtual HRESULT STDMETHODCALLTYPE GetFieldType(int32_t id, int32_t* type) = 0;
};

/* A list in the order of the service's reply. Threads and lifetime as for IQSNDataSet. */
struct IQSNList : public IUnknown {
    /*
     * Element `index`, counted from 0, as an IQSNDataSet with a reference for the caller to release.
     * E_INVALIDARG: index not below the count (tested first). E_POINTER: null `element`.
     */
    virtual HRESULT STDMETHODCALLTYPE GetItem(uint32_t index, void** element) = 0;
    /* The number of elements itself, not a result code. */
    virtual uint32_t STDMETHODCALLTYPE GetCount() = 0;
};

/* The signed-in user: a record of QSN_USER_FIELD texts, and the menu that the service made for them. */
struct IQSNUserInfo : public IQSNDataSet {
    /*
     * The user menu, whose elements have QSN_MENU_FIELD texts, with a reference for the caller to release.
     * E_POINTER: null `menu`. E_FAIL, with *menu null: the object has no menu.
     */
    virtual HRESULT STDMETHODCALLTYPE GetUserMenu(IQSNList** menu) = 0;
};

/* ---------------------------------------------------------------------------------------- the host's callback --- */

/*
 * Implemented by the host. The library takes a reference at Init and gives it back at Uninit, or with the last Release
 * of the library object.
 */
struct IQSNCallbackFunc : public IUnknown {
    /*
     * `action`: a QSN_ACTION; `result`: a QSN_CALLBACK_RESULT, or a QSN_NOTIFY for QSN_ACTION_NOTIFY; `data`: see
     * QSN_ACTION. Called on the worker thread. The library ignores the return value, except that it passes it on as the
     * result of a request made without a token. Must not throw.
     */
    virtual HRESULT STDMETHODCALLTYPE Callback(int32_t action, int32_t result, void* data) = 0;
};

/* ------------------------------------------------------------------------------------------- the library object --- */

/*
 * Unless stated otherwise, a method returns QSN_RETURN_E_NOT_INITIALIZED before Init and after Uninit.
 * QueryInterface knows IID_IUnknown and IID_IPVSubscription; the pointer it gives for the latter is an
 * IPVSubscription2*. A null output: E_INVALIDARG for IID_IPVSubscription, E_POINTER for any other identifier.
 */
struct IPVSubscription : public IUnknown {
    /*
     * Starts the library object and returns without waiting for anything. The worker thread begins with what takes
     * time, such as reading the machine's identity from WMI. `productSID` is copied, and `callback` is referenced.
     * E_POINTER: a null argument. QSN_RETURN_E_ALREADY_INITIALIZED. E_OUTOFMEMORY: no memory, or no thread.
     */
    virtual HRESULT STDMETHODCALLTYPE Init(const wchar_t* productSID, IQSNCallbackFunc* callback) = 0;
    /*
     * Ends the session. Queued requests are dropped without a callback, and a call that waits for one returns
     * QSN_RETURN_E_TIMEOUT. The running request has a second to end by itself, and is then reported like any other.
     * After that second it is broken off without a callback, and Uninit returns within 50 ms. Uninit waits for a
     * running callback without limit, so the callback must not in turn wait for the thread that calls Uninit. Once
     * Uninit has returned, no callback comes and no thread of the session is left. Init may be called again.
     */
    virtual HRESULT STDMETHODCALLTYPE Uninit() = 0;
    /*
     * Sets or reads the item `id` (a QSN_CONFIG, which says what `data` and `length` are and what waits).
     * E_NOTIMPL: unknown or reserved id. E_POINTER: data missing for item 1, length missing for 12 and 13.
     * E_INVALIDARG: data missing for 2 and 6 to 9, no path for 1, length missing or buffer too small for 14 and 15,
     * token too long.
     * E_UNEXPECTED: a token could not be encrypted. Items 12 and 13 may also return the registry's own error number,
     * such as 5 (access denied). It is positive, so compare their result with S_OK. If the registry or DPAPI fails,
     * items 14 and 15 return its error as a failure, such as 0x80070005; only a missing token reads as an empty one.
     * QSN_RETURN_E_TIMEOUT: the worker did not get to it within 120 s, or dropped it.
     */
    virtual HRESULT STDMETHODCALLTYPE Config(int32_t id, void* data, uint32_t* length) = 0;
    /* Reserved: E_NOTIMPL. */
    virtual HRESULT STDMETHODCALLTYPE Reserved6() = 0;
    /*
     * Waits. Copies the session's access token, zero-terminated, into `buffer` of `bufferLength` bytes; *outLength
     * becomes its length without terminator.
     * E_POINTER: a null pointer (tested before initialisation). QSN_RETURN_E_NO_TOKEN: the session holds none.
     * E_INVALIDARG: bufferLength is not greater than the token's length (at most 63). QSN_RETURN_E_TIMEOUT.
     * On every failure after the pointer test *outLength is 0, or untouched if the object is not initialised.
     */
    virtual HRESULT STDMETHODCALLTYPE GetAccessToken(char* buffer, uint32_t bufferLength, uint32_t* outLength) = 0;
    /* Reserved: E_NOTIMPL. */
    virtual HRESULT STDMETHODCALLTYPE Reserved8() = 0;
    /* Reserved: E_NOTIMPL. */
    virtual HRESULT STDMETHODCALLTYPE Reserved9() = 0;
    /*
     * Waits. Copies the address of the login page as GetAccessToken copies the token. The product SID in it is exactly
     * as given to Init (not escaped). *outLength is untouched on failure.
     * E_POINTER, E_INVALIDARG, QSN_RETURN_E_TIMEOUT as for GetAccessToken.
     */
    virtual HRESULT STDMETHODCALLTYPE GetSignInURL(char* buffer, uint32_t bufferLength, uint32_t* outLength) = 0;
    /*
     * Drops the queued requests without a callback; a call that waits for one returns QSN_RETURN_E_TIMEOUT. The running
     * one ends normally. The worker goes on.
     */
    virtual HRESULT STDMETHODCALLTYPE Stop() = 0;
    /* Reserved: E_NOTIMPL. */
    virtual HRESULT STDMETHODCALLTYPE Reserved12() = 0;
    /*
     * Makes `token` (at most 63 bytes) the session's access token; null or "" if the host has none.
     * Reported as QSN_ACTION_SIGNIN_RESULT: 0 if the session now holds a token (nothing is sent to find out whether
     * the service accepts it), else 3 with the login page address. A token of 64 bytes or more is dropped without a
     * callback.
     * QSN_RETURN_E_NO_TOKEN: no token was given or found; the callback comes all the same. Any other failure: nothing
     * was done, and no callback comes. With null and single sign-on this happens if the shared token cannot be read.
     */
    virtual HRESULT STDMETHODCALLTYPE SignIn(const char* token) = 0;
    /*
     * Ends the session, at the service too if it can be reached, and clears the shared member and refresh token.
     * Reported as QSN_ACTION_SIGNOUT_RESULT; the token is gone whatever the result.
     * A failure (E_OUTOFMEMORY, or the registry's or DPAPI's own): these two tokens could not be read, so the service
     * would not have heard of them. Nothing was done and no callback comes; call again.
     */
    virtual HRESULT STDMETHODCALLTYPE SignOut() = 0;
    /* Asks for the user's profile and menu; reported as QSN_ACTION_GET_USERINFO_RESULT. */
    virtual HRESULT STDMETHODCALLTYPE GetUserInfo() = 0;
    /* Asks for the product list; reported as QSN_ACTION_GET_PRODUCTLIST_RESULT. */
    virtual HRESULT STDMETHODCALLTYPE GetProductList() = 0;
};

struct IPVSubscription2 : public IPVSubscription {
    /* Asks for the second generation's product list; reported as QSN_ACTION_GET_PRODUCTLIST_V2_RESULT. */
    virtual HRESULT STDMETHODCALLTYPE GetProductListV2() = 0;
    /* Reserved: E_NOTIMPL. */
    virtual HRESULT STDMETHODCALLTYPE Reserved18() = 0;
    /* Reserved: E_NOTIMPL. */
    virtual HRESULT STDMETHODCALLTYPE Reserved19() = 0;
    /* Reserved: E_NOTIMPL. */
    virtual HRESULT STDMETHODCALLTYPE Reserved20() = 0;
    /* Reserved: E_NOTIMPL. */
    virtual HRESULT STDMETHODCALLTYPE Reserved21() = 0;
};

/* ------------------------------------------------------------------------------------------------- the factory --- */

/*
 * Both exports are the same function. *ppObject becomes an IPVSubscription2* with one reference, which the host
 * releases; it is untouched on failure. Objects are independent of each other.
 * E_INVALIDARG: ppObject null. E_FAIL: the object could not be created.
 * The user's registry value "DumpQSN" (REG_DWORD 1 under HKCU\Software\Quillfern\QSN), read here, switches on the trace
 * to the debugger output for the rest of the process.
 */
typedef HRESULT(STDAPICALLTYPE* CreateQSNFunc)(void** ppObject);

extern "C" HRESULT STDAPICALLTYPE CreateQSN(void** ppObject);
extern "C" HRESULT STDAPICALLTYPE CreateQSN2(void** ppObject);

#endif /* QSN_QSN_H */
