// What hosts were compiled against. If a change makes one of these tables fail, it breaks every host in the field: it
// needs a new interface, not a new table.
#include <gtest/gtest.h>
#include <qsn/qsn.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <initializer_list>
#include <type_traits>

namespace qsn::test {
namespace {

template <class... Values>
constexpr bool CountFrom(int first, Values... values) {
    return ((static_cast<int>(values) == first++) && ...);
}

static_assert(CountFrom(1, QSN_ACTION_SIGNIN_RESULT, QSN_ACTION_SIGNOUT_RESULT));
static_assert(CountFrom(4, QSN_ACTION_GET_USERINFO_RESULT, QSN_ACTION_GET_PRODUCTLIST_RESULT, QSN_ACTION_NOTIFY));
static_assert(CountFrom(11, QSN_ACTION_CHECK_TOKEN_ROUTINE_RESULT, QSN_ACTION_GI_QUERY_RESULT, QSN_ACTION_GI_LOG_RESULT,
                        QSN_ACTION_GET_PRODUCTLIST_V2_RESULT));
static_assert(CountFrom(1001, QSN_ACTION_SSO_SIGNIN_RESULT, QSN_ACTION_SSO_SIGNOUT_RESULT));

static_assert(QSN_NOTIFY_SERVICE_MESSAGE == 1);
static_assert(CountFrom(5, QSN_NOTIFY_MEMBER_TOKEN_SET, QSN_NOTIFY_REFRESH_TOKEN_SET, QSN_NOTIFY_MEMBER_TOKEN_CLEAR,
                        QSN_NOTIFY_REFRESH_TOKEN_CLEAR));

static_assert(CountFrom(0, QSN_CALLBACK_OK, QSN_CALLBACK_NETWORK_OR_UNKNOWN, QSN_CALLBACK_SERVER_RESULT_1,
                        QSN_CALLBACK_NOT_SIGNED_IN, QSN_CALLBACK_SERVER_RESULT_2, QSN_CALLBACK_REPLY_INCOMPLETE));
static_assert(CountFrom(8, QSN_CALLBACK_REPLY_NOT_AUTHENTIC, QSN_CALLBACK_SERVER_RESULT_3, QSN_CALLBACK_SERVER_RESULT_6,
                        QSN_CALLBACK_REQUEST_NOT_SIGNED));
static_assert(CountFrom(101, QSN_CALLBACK_SERVER_RESULT_101, QSN_CALLBACK_SERVER_RESULT_102,
                        QSN_CALLBACK_SERVER_RESULT_103, QSN_CALLBACK_SERVER_RESULT_104, QSN_CALLBACK_SERVER_RESULT_105,
                        QSN_CALLBACK_SERVER_RESULT_106, QSN_CALLBACK_SERVER_RESULT_107));

static_assert(QSN_RETURN_E_NO_TOKEN == static_cast<HRESULT>(0x86210002));
static_assert(QSN_RETURN_E_NOT_INITIALIZED == static_cast<HRESULT>(0x86210004));
static_assert(QSN_RETURN_E_ALREADY_INITIALIZED == static_cast<HRESULT>(0x86210005));
static_assert(QSN_RETURN_E_TIMEOUT == static_cast<HRESULT>(0x86210006));

static_assert(CountFrom(1, QSNCFG_SET_LOG_FOLDER, QSNCFG_SET_LANGUAGE));
static_assert(CountFrom(5, QSNCFG_SET_PLATFORM_INFO, QSNCFG_ENABLE_SINGLE_SIGNON, QSNCFG_SET_EXTEND_DATA,
                        QSNCFG_ENABLE_CHECK_TOKEN_ROUTINE, QSNCFG_USE_TESTBED, QSNCFG_GI_QUERY, QSNCFG_GI_LOG,
                        QSNCFG_SET_MEMBER_TOKEN, QSNCFG_SET_REFRESH_TOKEN, QSNCFG_GET_MEMBER_TOKEN,
                        QSNCFG_GET_REFRESH_TOKEN));

static_assert(CountFrom(1, QSN_USER_ID, QSN_USER_NAME, QSN_USER_EMAIL));
static_assert(CountFrom(1, QSN_MENU_ITEM, QSN_MENU_URL));
static_assert(QSN_FIELD_TEXT == 1 && QSN_FIELD_INTEGER == 5);
static_assert(CountFrom(
    1, QSN_PRODUCT_NAME, QSN_PRODUCT_TYPE, QSN_PRODUCT_DISPLAY_NAME, QSN_PRODUCT_VERSION, QSN_PRODUCT_DISPLAY_VERSION,
    QSN_PRODUCT_VERSION_TYPE, QSN_PRODUCT_DISPLAY_VERSION_TYPE, QSN_PRODUCT_SID, QSN_PRODUCT_DOWNLOAD_URL,
    QSN_PRODUCT_DOWNLOAD_URL_MD5, QSN_PRODUCT_STATUS, QSN_PRODUCT_RESERVED_12, QSN_PRODUCT_IS_CHECKED,
    QSN_PRODUCT_IS_UPGRADED, QSN_PRODUCT_RESERVED_15, QSN_PRODUCT_RESERVED_16, QSN_PRODUCT_RESERVED_17,
    QSN_PRODUCT_FILE_SIZE, QSN_PRODUCT_PATCH_FILE_SIZE, QSN_PRODUCT_PATCH_DOWNLOAD_URL,
    QSN_PRODUCT_PATCH_DOWNLOAD_URL_MD5, QSN_PRODUCT_RESERVED_22, QSN_PRODUCT_UPGRADE_PRODUCTS,
    QSN_PRODUCT_CONTENT_PACK_WEB_PAGE_URL, QSN_PRODUCT_IS_CONTENT_PACK, QSN_PRODUCT_NON_SILENT_INSTALLATION,
    QSN_PRODUCT_ICON, QSN_PRODUCT_TUTORIAL_URL, QSN_PRODUCT_INTRO_URL, QSN_PRODUCT_BELONGS, QSN_PRODUCT_PUBLISH_DATE,
    QSN_PRODUCT_IS_THIRD_PARTY_PACK, QSN_PRODUCT_PATCH_INFO, QSN_PRODUCT_WHAT_NEW_URL, QSN_PRODUCT_BACKGROUND_MUSIC,
    QSN_PRODUCT_SOUND_CLIPS, QSN_PRODUCT_HAVE_X64_BUILD, QSN_PRODUCT_STOCK_VIDEO, QSN_PRODUCT_STOCK_PHOTO,
    QSN_PRODUCT_EXTEND_FEATURE, QSN_PRODUCT_THUMB1, QSN_PRODUCT_THUMB2, QSN_PRODUCT_CONTENT_DETAIL,
    QSN_PRODUCT_CONTENT_DESCRIPTION, QSN_PRODUCT_DEMO_URL));

static_assert(sizeof(QSN_GI_QUOTA) == 64 && alignof(QSN_GI_QUOTA) == 4);
static_assert(offsetof(QSN_GI_QUOTA, size) == 0 && sizeof(QSN_GI_QUOTA::size) == 4);
static_assert(offsetof(QSN_GI_QUOTA, resetDate) == 4 && sizeof(QSN_GI_QUOTA::resetDate) == 28 * 2);
static_assert(offsetof(QSN_GI_QUOTA, remainCount) == 60 && sizeof(QSN_GI_QUOTA::remainCount) == 4);

static_assert(CountFrom(1, QSN_REQUEST_GET_USERINFO, QSN_REQUEST_GET_PRODUCTLIST, QSN_REQUEST_GET_PRODUCTLIST_V2,
                        QSN_REQUEST_GI_QUERY, QSN_REQUEST_GI_LOG, QSN_REQUEST_SIGNIN, QSN_REQUEST_SIGNOUT,
                        QSN_REQUEST_GET_SIGNIN_URL, QSN_REQUEST_GET_ACCESS_TOKEN, QSN_REQUEST_CONFIG));
static_assert(CountFrom(1, QSN_LOG_SESSION_STARTED, QSN_LOG_SESSION_ENDED, QSN_LOG_REQUEST_QUEUED,
                        QSN_LOG_REQUEST_BEGUN, QSN_LOG_REQUEST_COMPLETED, QSN_LOG_EXCHANGE, QSN_LOG_CALLBACK));
static_assert(CountFrom(1, QSN_LOG_ERROR, QSN_LOG_INFO, QSN_LOG_DETAIL));
static_assert(QSN_REQUEST_E_CANCELLED == static_cast<HRESULT>(0x800704C7));
static_assert(QSN_REQUEST_E_OUT_OF_TIME == static_cast<HRESULT>(0x800705B4));
static_assert(QSN_NO_SERVER_RESULT == INT32_MIN);

// Where each member of a record begins, in its order.
template <class Record, class... Members>
bool LiesAt(std::initializer_list<std::size_t> offsets, Members... members) {
    const Record record{};
    const auto* const begin = reinterpret_cast<const char*>(&record);
    const std::size_t found[] = {
        static_cast<std::size_t>(reinterpret_cast<const char*>(&(record.*members)) - begin)...};
    return std::ranges::equal(offsets, found);
}

static_assert(std::is_same_v<decltype(&CreateQSN), HRESULT (*)(void**)>);
static_assert(std::is_same_v<decltype(&CreateQSN), decltype(&CreateQSN2)>);
static_assert(std::is_base_of_v<IPVSubscription, IPVSubscription2> && std::is_base_of_v<IQSNDataSet, IQSNUserInfo>);

TEST(Interface, RecordsKeepTheirMembersInTheirPlaces) {
    EXPECT_EQ(sizeof(QSN_REQUEST), 32u);
    EXPECT_TRUE(
        (LiesAt<QSN_REQUEST>({0, 4, 8, 12, 16, 24, 28}, &QSN_REQUEST::size, &QSN_REQUEST::kind, &QSN_REQUEST::timeLimit,
                             &QSN_REQUEST::item, &QSN_REQUEST::text, &QSN_REQUEST::value, &QSN_REQUEST::reserved)));
    using Outcome = QSN_OUTCOME;
    EXPECT_EQ(sizeof(Outcome), 36u);
    EXPECT_TRUE((LiesAt<Outcome>({0, 4, 8, 12, 16, 20, 24, 28, 32}, &Outcome::size, &Outcome::callbackResult,
                                 &Outcome::result, &Outcome::serverResult, &Outcome::httpStatus, &Outcome::systemError,
                                 &Outcome::queuedTime, &Outcome::wireTime, &Outcome::canRetry)));
    using Record = QSN_LOG_RECORD;
    EXPECT_EQ(sizeof(Record), 72u);
    EXPECT_TRUE((LiesAt<Record>({0, 4, 8, 16, 20, 24, 28, 32}, &Record::size, &Record::level, &Record::time,
                                &Record::thread, &Record::event, &Record::request, &Record::action, &Record::outcome)));
}

TEST(Interface, IdentifiersKeepTheirBytes) {
    const std::pair<const IID*, const wchar_t*> rows[] = {
        {&IID_IQSNDataSet, L"{6A0F8D4C-1B53-4E0B-9C56-2F7D3A8E4B11}"},
        {&IID_IQSNList, L"{6A0F8D4D-1B53-4E0B-9C56-2F7D3A8E4B11}"},
        {&IID_IQSNUserInfo, L"{6A0F8D4E-1B53-4E0B-9C56-2F7D3A8E4B11}"},
        {&IID_IQSNCallbackFunc, L"{6A0F8D4F-1B53-4E0B-9C56-2F7D3A8E4B11}"},
        {&IID_IPVSubscription, L"{B2882D3A-895D-4844-855B-FCF115F181AF}"},
        {&IID_IQSNRequests, L"{6A0F8D50-1B53-4E0B-9C56-2F7D3A8E4B11}"},
        {&IID_IQSNRequest, L"{6A0F8D51-1B53-4E0B-9C56-2F7D3A8E4B11}"},
        {&IID_IQSNCompletion, L"{6A0F8D52-1B53-4E0B-9C56-2F7D3A8E4B11}"},
        {&IID_IQSNLog, L"{6A0F8D53-1B53-4E0B-9C56-2F7D3A8E4B11}"},
        {&__uuidof(IPVSubscription), L"{B2882D3A-895D-4844-855B-FCF115F181AF}"},
        {&__uuidof(IQSNRequests), L"{6A0F8D50-1B53-4E0B-9C56-2F7D3A8E4B11}"},
    };
    for (const auto& [id, text] : rows) {
        IID frozen = {};
        ASSERT_EQ(IIDFromString(text, &frozen), S_OK);
        EXPECT_TRUE(*id == frozen) << text;
    }
}

// The exact signature that hosts were compiled with. Nothing in it is deduced.
template <class Interface, class Result, class... Arguments>
using MethodOf = std::type_identity_t<Result (STDMETHODCALLTYPE Interface::*)(Arguments...)>;

// A pointer to a virtual method is 1 + its offset in the table of methods, followed by the adjustment of `this`.
template <class Interface, class Result, class... Arguments>
std::ptrdiff_t SlotOf(MethodOf<Interface, Result, Arguments...> method) {
    std::ptrdiff_t parts[2];
    static_assert(sizeof(parts) == sizeof(method));
    std::memcpy(parts, &method, sizeof(parts));
    return (parts[0] - 1) / static_cast<std::ptrdiff_t>(sizeof(void*)) + parts[1];
}

#define QSN_SLOT(slot, owner, method, ...) EXPECT_EQ((SlotOf<owner, __VA_ARGS__>(&owner::method)), slot) << #method

TEST(Interface, MethodsKeepTheirSlotsAndSignatures) {
    QSN_SLOT(3, IPVSubscription, Init, HRESULT, const wchar_t*, IQSNCallbackFunc*);
    QSN_SLOT(4, IPVSubscription, Uninit, HRESULT);
    QSN_SLOT(5, IPVSubscription, Config, HRESULT, int32_t, void*, uint32_t*);
    QSN_SLOT(6, IPVSubscription, Reserved6, HRESULT);
    QSN_SLOT(7, IPVSubscription, GetAccessToken, HRESULT, char*, uint32_t, uint32_t*);
    QSN_SLOT(8, IPVSubscription, Reserved8, HRESULT);
    QSN_SLOT(9, IPVSubscription, Reserved9, HRESULT);
    QSN_SLOT(10, IPVSubscription, GetSignInURL, HRESULT, char*, uint32_t, uint32_t*);
    QSN_SLOT(11, IPVSubscription, Stop, HRESULT);
    QSN_SLOT(12, IPVSubscription, Reserved12, HRESULT);
    QSN_SLOT(13, IPVSubscription, SignIn, HRESULT, const char*);
    QSN_SLOT(14, IPVSubscription, SignOut, HRESULT);
    QSN_SLOT(15, IPVSubscription, GetUserInfo, HRESULT);
    QSN_SLOT(16, IPVSubscription, GetProductList, HRESULT);
    QSN_SLOT(17, IPVSubscription2, GetProductListV2, HRESULT);
    QSN_SLOT(18, IPVSubscription2, Reserved18, HRESULT);
    QSN_SLOT(19, IPVSubscription2, Reserved19, HRESULT);
    QSN_SLOT(20, IPVSubscription2, Reserved20, HRESULT);
    QSN_SLOT(21, IPVSubscription2, Reserved21, HRESULT);
    QSN_SLOT(3, IQSNDataSet, GetString, HRESULT, int32_t, char*, uint32_t);
    QSN_SLOT(4, IQSNDataSet, GetStringLength, HRESULT, int32_t, uint32_t*);
    QSN_SLOT(5, IQSNDataSet, GetObject5, HRESULT, int32_t, void**);
    QSN_SLOT(6, IQSNDataSet, GetObject6, HRESULT, int32_t, void**);
    QSN_SLOT(7, IQSNDataSet, GetObject7, HRESULT, int32_t, void**);
    QSN_SLOT(8, IQSNDataSet, GetInt, HRESULT, int32_t, int32_t*);
    QSN_SLOT(9, IQSNDataSet, GetFieldType, HRESULT, int32_t, int32_t*);
    QSN_SLOT(10, IQSNUserInfo, GetUserMenu, HRESULT, IQSNList**);
    QSN_SLOT(3, IQSNList, GetItem, HRESULT, uint32_t, void**);
    QSN_SLOT(4, IQSNList, GetCount, uint32_t);
    QSN_SLOT(3, IQSNCallbackFunc, Callback, HRESULT, int32_t, int32_t, void*);
    QSN_SLOT(3, IQSNRequests, Start, HRESULT, const QSN_REQUEST*, IQSNCompletion*, IQSNRequest**);
    QSN_SLOT(4, IQSNRequests, SetLog, HRESULT, IQSNLog*, uint32_t);
    QSN_SLOT(3, IQSNRequest, Cancel, HRESULT);
    QSN_SLOT(4, IQSNRequest, GetOutcome, HRESULT, QSN_OUTCOME*);
    QSN_SLOT(5, IQSNRequest, GetNumber, uint32_t);
    QSN_SLOT(3, IQSNCompletion, Completed, HRESULT, IQSNRequest*, const QSN_OUTCOME*, void*);
    QSN_SLOT(3, IQSNLog, Write, HRESULT, const QSN_LOG_RECORD*);
}

}  // namespace
}  // namespace qsn::test
