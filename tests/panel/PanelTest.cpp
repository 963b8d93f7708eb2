#include <winsock2.h>
#include <windows.h>

#include <commctrl.h>
#include <gtest/gtest.h>
#include <wininet.h>

#include <qsn/client/text.hpp>

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <vector>

#include "panel/PanelProcess.h"
#include "service/accounts/AccountsFile.h"
#include "service/http/ReplyGate.h"
#include "service/net/UserConfiguration.h"
#include "service/server/AccountServer.h"
#include "support/SharedValues.h"

namespace qsn::test {
namespace {

using namespace std::chrono_literals;

class AccountPanel : public testing::Test {
protected:
    // Until the window has all of Ada's data.
    static void ExpectAda(const PanelProcess& panel) {
        EXPECT_TRUE(panel.Shows(IDC_STATUS, L"Up to date."));
        EXPECT_EQ(panel.Text(IDC_NAME), L"Ada Quill");
        EXPECT_EQ(panel.Text(IDC_DETAIL), L"ada.quill@quillfern.example");
        EXPECT_EQ(panel.Text(IDC_QUOTA).substr(0, 18), L"25 downloads left ");
        EXPECT_EQ(panel.Products(), 2);
    }
    static void ExpectNobody(const PanelProcess& panel) {
        EXPECT_TRUE(panel.Shows(IDC_NAME, L"Not signed in"));
        EXPECT_TRUE(Eventually([&] { return panel.Products() == 0 && panel.IsEnabled(IDC_SIGN_IN); }));
        for (int id : {IDC_MENU, IDC_REFRESH, IDC_SIGN_OUT}) EXPECT_FALSE(panel.IsEnabled(id)) << id;
    }
    // With Ada's data there, and a reply under way that will be changed so.
    void RefreshUnder(const service::ReplyChange& change, const PanelProcess& panel) {
        ExpectAda(panel);
        m_server.TakeRequests();
        m_server.Rules().Once(change);
        panel.Press(IDC_REFRESH);
        ASSERT_TRUE(m_server.WaitForRequests(1, 20s));
    }

    service::AccountServer m_server{
        {.keyFolder = QSN_TEST_KEY_DIR, .accounts = service::LoadAccounts(QSN_TEST_ACCOUNTS)}};
    service::UserConfiguration m_configuration{m_server.Port(), m_server.Authority().Der()};
    SharedValues m_shared;
};

// The last page that a browser shows for the address; follows redirections as one.
std::string Browse(const std::wstring& address) {
    const Owned<HINTERNET, InternetCloseHandle> session(
        InternetOpenW(L"browser", INTERNET_OPEN_TYPE_DIRECT, nullptr, nullptr, 0));
    const Owned<HINTERNET, InternetCloseHandle> page(
        InternetOpenUrlW(session.Get(), address.c_str(), nullptr, 0, 0, 0));
    char text[2048] = "";
    DWORD size = 0;
    InternetReadFile(page.Get(), text, sizeof(text) - 1, &size);
    return text;
}

// The program that runs this with a display takes the picture: what to take is left in a file that goes when it is
// done.
void KeepPicture(HWND window) {
    wchar_t request[MAX_PATH];
    if (GetEnvironmentVariableW(L"PANEL_PICTURE", request, MAX_PATH) == 0) return;
    RECT place;
    SetWindowPos(window, HWND_TOP, 16, 16, 0, 0, SWP_NOSIZE);
    RedrawWindow(window, nullptr, nullptr, RDW_INVALIDATE | RDW_UPDATENOW | RDW_ALLCHILDREN);
    GetWindowRect(window, &place);
    const std::wstring unfinished = request + std::wstring(L".new");
    std::ofstream(std::filesystem::path(unfinished))
        << place.right - place.left << 'x' << place.bottom - place.top << '+' << place.left << '+' << place.top;
    MoveFileW(unfinished.c_str(), request);
    EXPECT_TRUE(Eventually([&] { return GetFileAttributesW(request) == INVALID_FILE_ATTRIBUTES; }, 20000));
}

TEST_F(AccountPanel, ShowsTheAccountOfWhoSignsInInTheBrowser) {
    const PanelProcess panel(L"--no-browser");
    ExpectNobody(panel);
    panel.Press(IDC_SIGN_IN);
    ASSERT_TRUE(panel.Shows(IDC_STATUS, L"&state="));
    std::wstring address = panel.Text(IDC_STATUS);
    EXPECT_NE(address.find(L"?SID=QSN-DEMO&"), std::wstring::npos);
    address.erase(0, address.find(L"redirect_port=") + 14);
    address.insert(address.find(L'&'), L"/signed-in?token=demo-token-ada");
    EXPECT_NE(Browse(L"http://127.0.0.1:" + address).find("You are signed in."), std::string::npos);
    ExpectAda(panel);

    m_server.Rules().Once({.additionalMessage = "Fern Studio 12.4 is here: \xE2\x80\x9CMeadow\xE2\x80\x9D"});
    panel.Type(VK_F5);
    ASSERT_TRUE(Eventually([&] { return panel.News() == 1; }));
    EXPECT_TRUE(panel.LatestNewsAre(L"Fern Studio 12.4 is here: \u201CMeadow\u201D"));
    ExpectAda(panel);
    KeepPicture(panel.Window());

    panel.Press(IDM_ACCOUNT_FIRST + 1);
    EXPECT_TRUE(panel.Shows(IDC_STATUS, L"https://account.quillfern.example/my/products"));
    panel.Press(IDC_SIGN_OUT);
    ExpectNobody(panel);
    EXPECT_EQ(panel.Close(10000), 0u);
}

TEST_F(AccountPanel, IsWalkedByKeysAndLeftAgain) {
    const PanelProcess panel(L"--no-browser --token demo-token-ada");
    ExpectAda(panel);
    // In the order of the window; where it starts depends on whether the display gives the window the keyboard at once.
    std::array order = {IDC_MENU, IDC_SIGN_OUT, IDC_PRODUCTS, IDC_REFRESH, IDC_NEWS, IDC_STATUS};
    if (panel.Focus() == 0) panel.Type(VK_TAB);
    ASSERT_TRUE(Eventually([&] { return panel.Focus() != 0; }));
    std::rotate(order.begin(), std::find(order.begin(), order.end(), panel.Focus()), order.end());
    for (std::size_t step = 1; step <= order.size(); ++step) {
        const int next = order[step % order.size()];
        panel.Type(VK_TAB);
        ASSERT_TRUE(Eventually([&] { return panel.Focus() == next; })) << panel.Focus() << " instead of " << next;
    }
    panel.Press(IDC_SIGN_OUT);
    ExpectNobody(panel);
    panel.Press(IDC_SIGN_IN);
    EXPECT_TRUE(panel.Shows(IDC_STATUS, L"&state=")) << "the sign-in page was not known before";
    panel.Press(IDC_CANCEL);
    EXPECT_TRUE(panel.Shows(IDC_STATUS, L"cancelled"));
}

TEST_F(AccountPanel, KeepsItsControlsApartAtAnySize) {
    const PanelProcess panel(L"");
    const auto heightOf = [&panel](int id) {
        RECT place;
        GetWindowRect(panel.Control(id), &place);
        return place.bottom - place.top;
    };
    const auto expectOrder = [&panel](const std::string& when) {
        RECT inside, common;
        GetClientRect(panel.Window(), &inside);
        std::vector<RECT> places;
        for (int id = IDC_NAME; id <= IDC_CANCEL; ++id) {
            RECT& place = places.emplace_back();
            GetWindowRect(panel.Control(id), &place);
            MapWindowPoints(HWND_DESKTOP, panel.Window(), reinterpret_cast<POINT*>(&place), 2);
            UnionRect(&common, &inside, &place);
            EXPECT_TRUE(EqualRect(&common, &inside)) << id << " sticks out at " << when;
            for (std::size_t i = 0; i + 1 < places.size(); ++i)
                EXPECT_FALSE(IntersectRect(&common, &place, &places[i])) << id << " at " << when;
        }
    };
    for (const auto& [width, height] : {std::pair(100, 100), {900, 500}, {1000, 700}, {100, 100}}) {
        SetWindowPos(panel.Window(), nullptr, 0, 0, width, height, SWP_NOZORDER);
        expectOrder(std::to_string(width));
    }
    RECT window;
    GetWindowRect(panel.Window(), &window);
    const LONG before[] = {heightOf(IDC_CANCEL), heightOf(IDC_NEWS)};
    for (int scale : {2, 1}) {
        panel.MoveToScreenOf(USER_DEFAULT_SCREEN_DPI * scale, {window.right * scale, window.bottom * scale});
        expectOrder("scale " + std::to_string(scale));
        EXPECT_NEAR(heightOf(IDC_CANCEL), before[0] * scale, 1);
        EXPECT_NEAR(heightOf(IDC_NEWS), before[1] * scale, 1);
    }
}

TEST_F(AccountPanel, AnswersAndCancelsWhileTheServiceIsSlow) {
    const PanelProcess panel(L"--token demo-token-ada");
    const auto gate = std::make_shared<const service::ReplyGate>();
    RefreshUnder({.gate = gate}, panel);
    DWORD_PTR answer = 0;
    for (int answers = 0; answers < 20; ++answers, Sleep(20))
        ASSERT_TRUE(SendMessageTimeoutW(panel.Window(), WM_NULL, 0, 0, SMTO_NORMAL, 1000, &answer));
    EXPECT_FALSE(panel.IsEnabled(IDC_REFRESH));
    panel.Press(IDC_CANCEL);
    EXPECT_TRUE(panel.Shows(IDC_STATUS, L"It was cancelled."));
    EXPECT_FALSE(panel.IsEnabled(IDC_CANCEL));
    gate->Open();
    panel.Press(IDC_REFRESH);
    ExpectAda(panel);
}

TEST_F(AccountPanel, TellsFailuresApart) {
    const PanelProcess panel(L"--token demo-token-ada");
    ExpectAda(panel);
    const auto expect = [&panel](const char* name, const wchar_t* sentence) {
        panel.Press(IDC_REFRESH);
        EXPECT_TRUE(panel.Shows(IDC_STATUS, sentence)) << name << ": " << qsn::ToUtf8(panel.Text(IDC_STATUS));
    };
    {
        const service::UserConfiguration nobodyThere(1, m_server.Authority().Der());
        m_server.DropConnections();
        expect("proxy that takes no connections", L"You are offline.");
    }
    const std::tuple<const char*, service::ReplyChange, const wchar_t*> cases[] = {
        {"service fails", {.status = 503}, L"The account service has trouble"},
        {"service refuses", {.result = 2}, L"The account service refused."},
        {"other program answers", {.digest = service::PairFault::kOmitted}, L"did not do what it should"},
        {"token taken", {.result = 1}, L"Sign in again."},
    };
    for (const auto& [name, change, sentence] : cases) {
        m_server.Rules().Clear();
        m_server.Rules().Always(change);
        expect(name, sentence);
    }
    ExpectNobody(panel);
}

TEST_F(AccountPanel, FollowsOtherApplications) {
    const PanelProcess panel(L"");
    ExpectNobody(panel);
    SharedValues::WriteToken("SSO", "demo-token-ada");
    ExpectAda(panel);
    EXPECT_TRUE(panel.LatestNewsAre(L"Signed in, because another application did."));
    SharedValues::Delete("SSO");
    ExpectNobody(panel);
    EXPECT_TRUE(panel.LatestNewsAre(L"Signed out, because another application did."));
}

TEST_F(AccountPanel, EndsWhileARequestRuns) {
    const PanelProcess panel(L"--token demo-token-ada");
    RefreshUnder({.neverReply = true}, panel);
    EXPECT_EQ(panel.Close(8000), 0u);
}

}  // namespace
}  // namespace qsn::test
