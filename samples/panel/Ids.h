/* Shared by the resources, the code and what drives the window from outside: screen readers' scripts, tests. */
#ifndef SAMPLE_PANEL_IDS_H
#define SAMPLE_PANEL_IDS_H

#define PANEL_CLASS "QsnAccountPanel"

#define IDD_PANEL 100
#define IDR_KEYS 101

/* The controls, one after the other. */
#define IDC_NAME 1001
#define IDC_DETAIL 1002
#define IDC_SIGN_IN 1003
#define IDC_SIGN_OUT 1004
#define IDC_MENU 1005
#define IDC_REFRESH 1006
#define IDC_PRODUCTS_LABEL 1007
#define IDC_PRODUCTS 1008
#define IDC_QUOTA 1009
#define IDC_NEWS_LABEL 1010
#define IDC_NEWS 1011
#define IDC_STATUS 1012
#define IDC_CANCEL 1013

/* The items of the account menu, one after the other. */
#define IDM_ACCOUNT_FIRST 2000
#define IDM_ACCOUNT_LAST 2999

#endif
