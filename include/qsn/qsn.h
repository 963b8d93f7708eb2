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
 * C++11 or C11; no dependency beyond <objbase.h>. In C a method is called through lpVtbl. The methods that
 * IPVSubscription2 and IQSNUserInfo have from the interface that they extend are then in a member of its name, and take
 * a pointer to it:
 *
 *     IPVSubscription* base = (IPVSubscription*)qsn;
 *     base->lpVtbl->Init(base, L"YOUR-PRODUCT-SID", callback);
 */
#ifndef QSN_QSN_H
#define QSN_QSN_H

#include <objbase.h>

#include <stdint.h>

#ifdef __cplusplus
#define QSN_HRESULT(code) static_cast<HRESULT>(code)
#define QSN_METHOD(type, name) virtual type STDMETHODCALLTYPE name
#define QSN_INHERIT_UNKNOWN
#define QSN_INHERIT(base)
#else
#define QSN_HRESULT(code) ((HRESULT)(code))
#define QSN_METHOD(type, name) type(STDMETHODCALLTYPE* name) /* NOLINT(bugprone-macro-parentheses) */
#define QSN_INHERIT_UNKNOWN                                               \
    QSN_METHOD(HRESULT, QueryInterface)(THIS_ REFIID iid, void** object); \
    QSN_METHOD(ULONG, AddRef)(THIS);                                      \
    QSN_METHOD(ULONG, Release)(THIS);
#define QSN_INHERIT(base) base##Vtbl base;
#endif

/* The identifier of an interface as IID_name, and for __uuidof if the compiler has that. */
#if defined(__cplusplus) && defined(_MSC_VER)
#define QSN_UUID(name, text, ...) struct __declspec(uuid(text)) name;
#elif defined(__cplusplus) && defined(__CRT_UUID_DECL)
#define QSN_UUID(name, text, ...) \
    struct name;                  \
    __CRT_UUID_DECL(name, __VA_ARGS__)
#else
#define QSN_UUID(name, text, ...)
#endif
#define QSN_DEFINE_IID(name, text, l, w1, w2, b1, b2, b3, b4, b5, b6, b7, b8)    \
    static const IID IID_##name = {l, w1, w2, {b1, b2, b3, b4, b5, b6, b7, b8}}; \
    QSN_UUID(name, text, l, w1, w2, b1, b2, b3, b4, b5, b6, b7, b8)

#define QSN_VERSION_MAJOR 0
#define QSN_VERSION_MINOR 1
#define QSN_VERSION_PATCH 0

/* ------------------------------------------------------------------------------------------------ result codes --- */

/*
 * What the methods return, besides the system's own S_OK, E_NOTIMPL (0x80004001), E_NOINTERFACE (0x80004002),
 * E_POINTER (0x80004003), E_FAIL (0x80004005), E_OUTOFMEMORY (0x8007000E), E_UNEXPECTED (0x8000FFFF) and E_INVALIDARG
 * (0x80070057).
 */
#define QSN_RETURN_E_NO_TOKEN QSN_HRESULT(0x86210002L)            /* no token held or given */
#define QSN_RETURN_E_NOT_INITIALIZED QSN_HRESULT(0x86210004L)     /* before Init, after Uninit */
#define QSN_RETURN_E_ALREADY_INITIALIZED QSN_HRESULT(0x86210005L) /* Init while initialised */
#define QSN_RETURN_E_TIMEOUT QSN_HRESULT(0x86210006L)             /* a task waited for was dropped or took 120 s */

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
typedef struct QSN_GI_QUOTA {
    uint32_t size;         /* of this record in bytes: 64 */
    wchar_t resetDate[28]; /* as the service writes it, zero-terminated, cut to fit */
    uint32_t remainCount;  /* downloads left until then */
} QSN_GI_QUOTA;

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

QSN_DEFINE_IID(IQSNDataSet, "6A0F8D4C-1B53-4E0B-9C56-2F7D3A8E4B11", 0x6a0f8d4c, 0x1b53, 0x4e0b, 0x9c, 0x56, 0x2f, 0x7d,
               0x3a, 0x8e, 0x4b, 0x11)
QSN_DEFINE_IID(IQSNList, "6A0F8D4D-1B53-4E0B-9C56-2F7D3A8E4B11", 0x6a0f8d4d, 0x1b53, 0x4e0b, 0x9c, 0x56, 0x2f, 0x7d,
               0x3a, 0x8e, 0x4b, 0x11)
QSN_DEFINE_IID(IQSNUserInfo, "6A0F8D4E-1B53-4E0B-9C56-2F7D3A8E4B11", 0x6a0f8d4e, 0x1b53, 0x4e0b, 0x9c, 0x56, 0x2f, 0x7d,
               0x3a, 0x8e, 0x4b, 0x11)
QSN_DEFINE_IID(IQSNCallbackFunc, "6A0F8D4F-1B53-4E0B-9C56-2F7D3A8E4B11", 0x6a0f8d4f, 0x1b53, 0x4e0b, 0x9c, 0x56, 0x2f,
               0x7d, 0x3a, 0x8e, 0x4b, 0x11)
QSN_DEFINE_IID(IPVSubscription, "B2882D3A-895D-4844-855B-FCF115F181AF", 0xb2882d3a, 0x895d, 0x4844, 0x85, 0x5b, 0xfc,
               0xf1, 0x15, 0xf1, 0x81, 0xaf)

/*
 * A record whose fields are addressed by number. It does not change once the host has it, so any thread may read it.
 * It does not depend on the library object: a host may keep it after Uninit and the library object's last Release, but
 * not after FreeLibrary.
 */
#undef INTERFACE
#define INTERFACE IQSNDataSet
DECLARE_INTERFACE_(IQSNDataSet, IUnknown) {
    QSN_INHERIT_UNKNOWN
    /*
     * Copies the text of field `id`, zero-terminated, into `buffer` of `bufferSize` bytes.
     * E_POINTER: null buffer. E_INVALIDARG: `id` is not a text field, or bufferSize is not greater than the text's
     * length; the buffer is then left as it was.
     */
    QSN_METHOD(HRESULT, GetString)(THIS_ int32_t id, char* buffer, uint32_t bufferSize) PURE;
    /* The text's length in bytes, without terminator. E_POINTER: null `length`. E_INVALIDARG: not a text field. */
    QSN_METHOD(HRESULT, GetStringLength)(THIS_ int32_t id, uint32_t * length) PURE;
    /* Reserved: E_POINTER for a null output, else E_INVALIDARG. */
    QSN_METHOD(HRESULT, GetObject5)(THIS_ int32_t id, void** output) PURE;
    /* Reserved: E_INVALIDARG. */
    QSN_METHOD(HRESULT, GetObject6)(THIS_ int32_t id, void** output) PURE;
    /* Reserved: E_INVALIDARG. */
    QSN_METHOD(HRESULT, GetObject7)(THIS_ int32_t id, void** output) PURE;
    /*
     * The value of an integer field. E_POINTER: null `value`. E_INVALIDARG: not an integer field. The elements of the
     * user menu have no integer fields and always return E_INVALIDARG.
     */
    QSN_METHOD(HRESULT, GetInt)(THIS_ int32_t id, int32_t * value) PURE;
    /* A QSN_FIELD_TYPE. E_POINTER: null `type`. E_INVALIDARG: no such field. */
    QSN_METHOD(HRESULT, GetFieldType)(THIS_ int32_t id, int32_t * type) PURE;
};

/* A list in the order of the service's reply. Threads and lifetime as for IQSNDataSet. */
#undef INTERFACE
#define INTERFACE IQSNList
DECLARE_INTERFACE_(IQSNList, IUnknown) {
    QSN_INHERIT_UNKNOWN
    /*
     * Element `index`, counted from 0, as an IQSNDataSet with a reference for the caller to release.
     * E_INVALIDARG: index not below the count (tested first). E_POINTER: null `element`.
     */
    QSN_METHOD(HRESULT, GetItem)(THIS_ uint32_t index, void** element) PURE;
    /* The number of elements itself, not a result code. */
    QSN_METHOD(uint32_t, GetCount)(THIS) PURE;
};

/* The signed-in user: a record of QSN_USER_FIELD texts, and the menu that the service made for them. */
#undef INTERFACE
#define INTERFACE IQSNUserInfo
DECLARE_INTERFACE_(IQSNUserInfo, IQSNDataSet) {
    QSN_INHERIT(IQSNDataSet)
    /*
     * The user menu, whose elements have QSN_MENU_FIELD texts, with a reference for the caller to release.
     * E_POINTER: null `menu`. E_FAIL, with *menu null: the object has no menu.
     */
    QSN_METHOD(HRESULT, GetUserMenu)(THIS_ IQSNList * *menu) PURE;
};

/* ---------------------------------------------------------------------------------------- the host's callback --- */

/*
 * Implemented by the host. The library takes a reference at Init and gives it back at Uninit, or with the last Release
 * of the library object.
 */
#undef INTERFACE
#define INTERFACE IQSNCallbackFunc
DECLARE_INTERFACE_(IQSNCallbackFunc, IUnknown) {
    QSN_INHERIT_UNKNOWN
    /*
     * `action`: a QSN_ACTION; `result`: a QSN_CALLBACK_RESULT, or a QSN_NOTIFY for QSN_ACTION_NOTIFY; `data`: see
     * QSN_ACTION. Called on the worker thread. The library ignores the return value, except that it passes it on as the
     * result of a request made without a token. Must not throw.
     */
    QSN_METHOD(HRESULT, Callback)(THIS_ int32_t action, int32_t result, void* data) PURE;
};

/* ------------------------------------------------------------------------------------------- the library object --- */

/*
 * Unless stated otherwise, a method returns QSN_RETURN_E_NOT_INITIALIZED before Init and after Uninit.
 * QueryInterface knows IID_IUnknown, IID_IPVSubscription and IID_IQSNRequests; the pointer it gives for the second is
 * an IPVSubscription2*. A null output: E_INVALIDARG for IID_IPVSubscription, E_POINTER for any other identifier.
 */
#undef INTERFACE
#define INTERFACE IPVSubscription
DECLARE_INTERFACE_(IPVSubscription, IUnknown) {
    QSN_INHERIT_UNKNOWN
    /*
     * Starts the library object and returns without waiting for anything. The worker thread begins with what takes
     * time, such as reading the machine's identity from WMI. `productSID` is copied, and `callback` is referenced.
     * E_POINTER: a null argument. QSN_RETURN_E_ALREADY_INITIALIZED. E_OUTOFMEMORY: no memory, or no thread.
     */
    QSN_METHOD(HRESULT, Init)(THIS_ const wchar_t* productSID, IQSNCallbackFunc* callback) PURE;
    /*
     * Ends the session. Queued requests are dropped without a callback, and a call that waits for one returns
     * QSN_RETURN_E_TIMEOUT. The running request has a second to end by itself, and is then reported like any other.
     * After that second it is broken off without a callback, and Uninit returns within 50 ms. Uninit waits for a
     * running callback without limit, so the callback must not in turn wait for the thread that calls Uninit. Once
     * Uninit has returned, no callback comes and no thread of the session is left. Init may be called again.
     */
    QSN_METHOD(HRESULT, Uninit)(THIS) PURE;
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
    QSN_METHOD(HRESULT, Config)(THIS_ int32_t id, void* data, uint32_t* length) PURE;
    /* Reserved: E_NOTIMPL. */
    QSN_METHOD(HRESULT, Reserved6)(THIS) PURE;
    /*
     * Waits. Copies the session's access token, zero-terminated, into `buffer` of `bufferLength` bytes; *outLength
     * becomes its length without terminator.
     * E_POINTER: a null pointer (tested before initialisation). QSN_RETURN_E_NO_TOKEN: the session holds none.
     * E_INVALIDARG: bufferLength is not greater than the token's length (at most 63). QSN_RETURN_E_TIMEOUT.
     * On every failure after the pointer test *outLength is 0, or untouched if the object is not initialised.
     */
    QSN_METHOD(HRESULT, GetAccessToken)(THIS_ char* buffer, uint32_t bufferLength, uint32_t* outLength) PURE;
    /* Reserved: E_NOTIMPL. */
    QSN_METHOD(HRESULT, Reserved8)(THIS) PURE;
    /* Reserved: E_NOTIMPL. */
    QSN_METHOD(HRESULT, Reserved9)(THIS) PURE;
    /*
     * Waits. Copies the address of the login page as GetAccessToken copies the token. The product SID in it is exactly
     * as given to Init (not escaped). *outLength is untouched on failure.
     * E_POINTER, E_INVALIDARG, QSN_RETURN_E_TIMEOUT as for GetAccessToken.
     */
    QSN_METHOD(HRESULT, GetSignInURL)(THIS_ char* buffer, uint32_t bufferLength, uint32_t* outLength) PURE;
    /*
     * Drops the queued requests without a callback; a call that waits for one returns QSN_RETURN_E_TIMEOUT. The running
     * one ends normally. The worker goes on.
     */
    QSN_METHOD(HRESULT, Stop)(THIS) PURE;
    /* Reserved: E_NOTIMPL. */
    QSN_METHOD(HRESULT, Reserved12)(THIS) PURE;
    /*
     * Makes `token` (at most 63 bytes) the session's access token; null or "" if the host has none.
     * Reported as QSN_ACTION_SIGNIN_RESULT: 0 if the session now holds a token (nothing is sent to find out whether
     * the service accepts it), else 3 with the login page address. A token of 64 bytes or more is dropped without a
     * callback.
     * QSN_RETURN_E_NO_TOKEN: no token was given or found; the callback comes all the same. Any other failure: nothing
     * was done, and no callback comes. With null and single sign-on this happens if the shared token cannot be read.
     */
    QSN_METHOD(HRESULT, SignIn)(THIS_ const char* token) PURE;
    /*
     * Ends the session, at the service too if it can be reached, and clears the shared member and refresh token.
     * Reported as QSN_ACTION_SIGNOUT_RESULT; the token is gone whatever the result.
     * A failure (E_OUTOFMEMORY, or the registry's or DPAPI's own): these two tokens could not be read, so the service
     * would not have heard of them. Nothing was done and no callback comes; call again.
     */
    QSN_METHOD(HRESULT, SignOut)(THIS) PURE;
    /* Asks for the user's profile and menu; reported as QSN_ACTION_GET_USERINFO_RESULT. */
    QSN_METHOD(HRESULT, GetUserInfo)(THIS) PURE;
    /* Asks for the product list; reported as QSN_ACTION_GET_PRODUCTLIST_RESULT. */
    QSN_METHOD(HRESULT, GetProductList)(THIS) PURE;
};

#undef INTERFACE
#define INTERFACE IPVSubscription2
DECLARE_INTERFACE_(IPVSubscription2, IPVSubscription) {
    QSN_INHERIT(IPVSubscription)
    /* Asks for the second generation's product list; reported as QSN_ACTION_GET_PRODUCTLIST_V2_RESULT. */
    QSN_METHOD(HRESULT, GetProductListV2)(THIS) PURE;
    /* Reserved: E_NOTIMPL. */
    QSN_METHOD(HRESULT, Reserved18)(THIS) PURE;
    /* Reserved: E_NOTIMPL. */
    QSN_METHOD(HRESULT, Reserved19)(THIS) PURE;
    /* Reserved: E_NOTIMPL. */
    QSN_METHOD(HRESULT, Reserved20)(THIS) PURE;
    /* Reserved: E_NOTIMPL. */
    QSN_METHOD(HRESULT, Reserved21)(THIS) PURE;
};

/* ----------------------------------------------------------------------------------------- requests of their own ---
 */

/*
 * IQSNRequests starts requests that can be told apart, cancelled and given a time limit, and that say in detail how
 * they ended. They join the same queue as the requests of IPVSubscription, which go on as before beside them.
 *
 * Each request that Start has accepted is completed exactly once, on the worker thread, also if it is cancelled, out of
 * time, dropped by Stop, or overtaken by Uninit or the last Release. No completion comes once Uninit has returned. A
 * completion comes between the callbacks of IQSNCallbackFunc or while a request waits for the network, never inside
 * another call to the host, with one exception: if the host calls Uninit or the last Release inside a callback or a
 * completion, the requests that are left are completed before that returns.
 *
 * A request started here does not call IQSNCallbackFunc. What the service or another application has to say beside it
 * (QSN_ACTION_NOTIFY and the like) still does.
 */

/* What a request asks for, and what its completion brings as `data` if it succeeds. */
enum QSN_REQUEST_KIND {
    QSN_REQUEST_GET_USERINFO = 1,       /* IQSNUserInfo* */
    QSN_REQUEST_GET_PRODUCTLIST = 2,    /* IQSNList* of IQSNDataSet */
    QSN_REQUEST_GET_PRODUCTLIST_V2 = 3, /* IQSNList* of IQSNDataSet, or null if the service has none */
    QSN_REQUEST_GI_QUERY = 4,           /* const QSN_GI_QUOTA* */
    QSN_REQUEST_GI_LOG = 5,             /* null */
    QSN_REQUEST_SIGNIN =
        6,                            /* null. `text`: an access token of at most 63 bytes, or null for the one that the
                                         suite shares (with single sign-on). If there is none, the request fails with callbackResult
                                         QSN_CALLBACK_NOT_SIGNED_IN, and data is the login page address (narrow text) */
    QSN_REQUEST_SIGNOUT = 7,          /* null */
    QSN_REQUEST_GET_SIGNIN_URL = 8,   /* narrow text: the login page address */
    QSN_REQUEST_GET_ACCESS_TOKEN = 9, /* narrow text */
    QSN_REQUEST_CONFIG = 10           /* narrow text for items 14 and 15, which may be empty; else null. `item`: any
                                         QSN_CONFIG but 1, 10 and 11; `text` for 2, 7, 12 and 13 (null clears the
                                         last two), `value` for 5, 6, 8 and 9 */
};

/* A request. The library copies it. */
typedef struct QSN_REQUEST {
    uint32_t size;      /* of this record in bytes, as the host was compiled */
    uint32_t kind;      /* a QSN_REQUEST_KIND */
    uint32_t timeLimit; /* ms from Start to completion; 0: none. A request that has been sent by then is broken off */
    int32_t item;       /* a QSN_CONFIG, else 0 */
    const char* text;   /* narrow text or null */
    uint32_t value;
    uint32_t reserved; /* 0 */
} QSN_REQUEST;

/* QSN_OUTCOME::result of requests that were not carried out to their end. */
#define QSN_REQUEST_E_CANCELLED QSN_HRESULT(0x800704C7L)   /* by Cancel, Stop, Uninit or the last Release */
#define QSN_REQUEST_E_OUT_OF_TIME QSN_HRESULT(0x800705B4L) /* its timeLimit is over */

/* QSN_OUTCOME::serverResult if no reply of the service had one. */
#define QSN_NO_SERVER_RESULT (-2147483647 - 1)

/* How a request ended. It holds no token and no text of the user. */
typedef struct QSN_OUTCOME {
    uint32_t size;          /* of this record in bytes */
    int32_t callbackResult; /* a QSN_CALLBACK_RESULT: what IQSNCallbackFunc is told in such a case */
    HRESULT result;         /* S_OK; one of the two above; QSN_RETURN_E_NO_TOKEN; else the failure's own code */
    int32_t serverResult;   /* "result" in the service's reply, or QSN_NO_SERVER_RESULT */
    uint32_t httpStatus;    /* of the last reply; 0: there was none */
    uint32_t systemError;   /* why there was no whole reply, as WinINet numbers it: 12002 time-out, 12007 name, 12029
                               connection refused, 12030 connection lost, 12037, 12038, 12045 and 12170 certificate, 12152
                               not HTTP, 12157 TLS, 12163 offline. 0: there was one, or nothing was to be sent */
    uint32_t queuedTime;    /* ms in the queue */
    uint32_t wireTime;      /* ms spent on exchanges with the service */
    uint32_t canRetry;      /* 1: the same request may succeed later (offline, time-out, no connection, status 429 or
                               from 500 on); 0: trying again does not help */
} QSN_OUTCOME;

QSN_DEFINE_IID(IQSNRequests, "6A0F8D50-1B53-4E0B-9C56-2F7D3A8E4B11",  //
               0x6a0f8d50, 0x1b53, 0x4e0b, 0x9c, 0x56, 0x2f, 0x7d, 0x3a, 0x8e, 0x4b, 0x11)
QSN_DEFINE_IID(IQSNRequest, "6A0F8D51-1B53-4E0B-9C56-2F7D3A8E4B11",  //
               0x6a0f8d51, 0x1b53, 0x4e0b, 0x9c, 0x56, 0x2f, 0x7d, 0x3a, 0x8e, 0x4b, 0x11)
QSN_DEFINE_IID(IQSNCompletion, "6A0F8D52-1B53-4E0B-9C56-2F7D3A8E4B11",  //
               0x6a0f8d52, 0x1b53, 0x4e0b, 0x9c, 0x56, 0x2f, 0x7d, 0x3a, 0x8e, 0x4b, 0x11)
QSN_DEFINE_IID(IQSNLog, "6A0F8D53-1B53-4E0B-9C56-2F7D3A8E4B11",  //
               0x6a0f8d53, 0x1b53, 0x4e0b, 0x9c, 0x56, 0x2f, 0x7d, 0x3a, 0x8e, 0x4b, 0x11)

/* A request under way or completed. It may outlive the library object, but not FreeLibrary. */
#undef INTERFACE
#define INTERFACE IQSNRequest
DECLARE_INTERFACE_(IQSNRequest, IUnknown) {
    QSN_INHERIT_UNKNOWN
    /*
     * Asks for the request to end, and returns at once; works inside any callback. One that waits in the queue is never
     * carried out, one that waits for the network is broken off: its completion says QSN_REQUEST_E_CANCELLED. One whose
     * reply is there already ends with that. A sign-out that has begun ends the sign-in here all the same.
     * S_FALSE: it was completed, or has been asked to end, before.
     */
    QSN_METHOD(HRESULT, Cancel)(THIS) PURE;
    /*
     * Copies how the request ended into `outcome`, whose `size` the caller has set; members beyond that are left out.
     * E_POINTER: null. E_INVALIDARG: a size of less than 4. E_PENDING (0x8000000A): it has not ended.
     */
    QSN_METHOD(HRESULT, GetOutcome)(THIS_ QSN_OUTCOME * outcome) PURE;
    /* The number by which IQSNLog calls this request; unique within the library object. */
    QSN_METHOD(uint32_t, GetNumber)(THIS) PURE;
};

/* Implemented by the host. The library holds a reference from Start until it has been called. */
#undef INTERFACE
#define INTERFACE IQSNCompletion
DECLARE_INTERFACE_(IQSNCompletion, IUnknown) {
    QSN_INHERIT_UNKNOWN
    /*
     * `data`: see QSN_REQUEST_KIND; null on failure. All arguments are valid only during the call, unless the host
     * takes a reference to an object. Called on the worker thread; what holds inside IQSNCallbackFunc::Callback holds
     * here. The return value is ignored. Must not throw.
     */
    QSN_METHOD(HRESULT, Completed)(THIS_ IQSNRequest * request, const QSN_OUTCOME* outcome, void* data) PURE;
};

/* What IQSNLog is told. */
enum QSN_LOG_EVENT {
    QSN_LOG_SESSION_STARTED = 1,
    QSN_LOG_SESSION_ENDED = 2,
    QSN_LOG_REQUEST_QUEUED = 3,    /* action: its QSN_REQUEST_KIND */
    QSN_LOG_REQUEST_BEGUN = 4,     /* the worker thread has taken it up */
    QSN_LOG_REQUEST_COMPLETED = 5, /* outcome: how it ended */
    QSN_LOG_EXCHANGE = 6, /* one exchange with the service has ended; outcome: result, HTTP status, system's error
                             and time */
    QSN_LOG_CALLBACK = 7  /* IQSNCallbackFunc is called. action: its QSN_ACTION; callbackResult: its result */
};
enum QSN_LOG_LEVEL { QSN_LOG_ERROR = 1, QSN_LOG_INFO = 2, QSN_LOG_DETAIL = 3 };

/* One line of the log. It holds no token, no name and no address. */
typedef struct QSN_LOG_RECORD {
    uint32_t size;       /* of this record in bytes */
    uint32_t level;      /* a QSN_LOG_LEVEL */
    uint64_t time;       /* UTC, in units of 100 ns since 1601, like a FILETIME */
    uint32_t thread;     /* the system's number of the thread on which it happened */
    uint32_t event;      /* a QSN_LOG_EVENT */
    uint32_t request;    /* the number of the request; 0: none, or one of IPVSubscription */
    int32_t action;      /* see the event */
    QSN_OUTCOME outcome; /* see the event; else zeros */
} QSN_LOG_RECORD;

/* Implemented by the host. */
#undef INTERFACE
#define INTERFACE IQSNLog
DECLARE_INTERFACE_(IQSNLog, IUnknown) {
    QSN_INHERIT_UNKNOWN
    /*
     * Called on any thread, several at a time, in the middle of the library's work. It must be quick, must not throw,
     * and must not call the library. The return value is ignored.
     */
    QSN_METHOD(HRESULT, Write)(THIS_ const QSN_LOG_RECORD* record) PURE;
};

/* From QueryInterface on the library object. */
#undef INTERFACE
#define INTERFACE IQSNRequests
DECLARE_INTERFACE_(IQSNRequests, IUnknown) {
    QSN_INHERIT_UNKNOWN
    /*
     * Queues `request` and returns. `completion` may be null for a host that needs no answer. *started, if `started` is
     * not null, becomes the request with a reference for the caller to release; that may happen after its completion.
     * A failure means that nothing was queued and no completion comes.
     * E_POINTER: null request. E_INVALIDARG: a size that is too small, an unknown kind or item, a text that is
     * missing, or too long for an access token. QSN_RETURN_E_NOT_INITIALIZED. E_OUTOFMEMORY.
     */
    QSN_METHOD(HRESULT, Start)
    (THIS_ const QSN_REQUEST* request, IQSNCompletion* completion, IQSNRequest** started) PURE;
    /*
     * From now on tells `log` of events up to `level`, a QSN_LOG_LEVEL; null ends that. Before Init or later. The
     * library keeps a reference until the next call or the last Release; a call that has begun by then may still be
     * under way. E_INVALIDARG: not a level.
     */
    QSN_METHOD(HRESULT, SetLog)(THIS_ IQSNLog * log, uint32_t level) PURE;
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

EXTERN_C HRESULT STDAPICALLTYPE CreateQSN(void** ppObject);
EXTERN_C HRESULT STDAPICALLTYPE CreateQSN2(void** ppObject);

#undef INTERFACE

#endif /* QSN_QSN_H */
