// Identifiers of the server's dialogs and their controls, shared by lumeno.rc and the code.
#pragma once

#define IDD_EXIF_PAGE 300
#define IDD_IPTC_PAGE 301
#define IDD_XMP_PAGE 302
#define IDD_TEMPLATE_NAME 303
#define IDD_OPTIONS_PAGE 304
#define IDD_SLIDESHOW_CD 305

#define IDC_FILE 1000
#define IDC_LIST 1001
#define IDC_TREE 1002
#define IDC_STATUS 1003
#define IDC_TEMPLATE_NAME 1004
#define IDC_SAVE_TEMPLATE 1005

// The IPTC page's fields, in the order of its rows.
#define IDC_IPTC_FIRST 1010
#define IDC_OBJECT_NAME 1010
#define IDC_HEADLINE 1011
#define IDC_CAPTION 1012
#define IDC_KEYWORDS 1013
#define IDC_BYLINE 1014
#define IDC_CREDIT 1015
#define IDC_SOURCE 1016
#define IDC_COPYRIGHT 1017
#define IDC_CITY 1018
#define IDC_STATE 1019
#define IDC_COUNTRY 1020
#define IDC_DATE_CREATED 1021
#define IDC_TIME_CREATED 1022
#define IDC_IPTC_LAST 1022

// The settings pages' fields are made from their table: field N of a page has the control
// IDC_OPTION_FIRST + N, and its "..." button (colours, fonts) IDC_OPTION_BUTTON + N.
#define IDC_OPTION_FIRST 2000
#define IDC_OPTION_BUTTON 2100

// The slide-show CD's dialog.
#define IDC_CD_FOLDER 2200
#define IDC_CD_BROWSE 2201
#define IDC_CD_PDF 2202
#define IDC_CD_QUALITY 2203
#define IDC_CD_WIDTH 2204
#define IDC_CD_HEIGHT 2205
#define IDC_CD_ORIGINALS 2206
#define IDC_CD_AUTORUN_PDF 2207
#define IDC_CD_VIEWER 2208
