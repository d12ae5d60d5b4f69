// The Windows headers this server needs, and the interfaces some SDKs lack, declared here once
// with their documented IIDs: IColumnProvider and IShellIconOverlayIdentifier are missing from
// Wine's headers (the Windows SDK and MinGW-w64 have them); ATL's registrar (IRegistrar) comes
// with ATL's atliface.h, which Wine has and MinGW-w64 does not.
#pragma once

#include <windows.h>
#include <ole2.h>
#include <oleauto.h>
#include <shlobj.h>
#include <shlguid.h>
#include <shobjidl.h>

#if __has_include(<atliface.h>)
#include <atliface.h>
#else
struct IRegistrar : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE AddReplacement(LPCOLESTR key, LPCOLESTR item) = 0;
    virtual HRESULT STDMETHODCALLTYPE ClearReplacements() = 0;
    virtual HRESULT STDMETHODCALLTYPE ResourceRegisterSz(LPCOLESTR resFileName, LPCOLESTR id, LPCOLESTR type) = 0;
    virtual HRESULT STDMETHODCALLTYPE ResourceUnregisterSz(LPCOLESTR resFileName, LPCOLESTR id, LPCOLESTR type) = 0;
    virtual HRESULT STDMETHODCALLTYPE FileRegister(LPCOLESTR fileName) = 0;
    virtual HRESULT STDMETHODCALLTYPE FileUnregister(LPCOLESTR fileName) = 0;
    virtual HRESULT STDMETHODCALLTYPE StringRegister(LPCOLESTR data) = 0;
    virtual HRESULT STDMETHODCALLTYPE StringUnregister(LPCOLESTR data) = 0;
    virtual HRESULT STDMETHODCALLTYPE ResourceRegister(LPCOLESTR resFileName, UINT id, LPCOLESTR type) = 0;
    virtual HRESULT STDMETHODCALLTYPE ResourceUnregister(LPCOLESTR resFileName, UINT id, LPCOLESTR type) = 0;
};
#endif
// The registrar's class and interface ({44EC053A-...} and {44EC053B-...}), as constants of their
// own: atliface.h only declares them, and defining every GUID of the headers here would clash
// with the system's GUID library.
static const CLSID RegistrarClass = {0x44EC053A, 0x400F, 0x11D0, {0x9D, 0xCD, 0x00, 0xA0, 0xC9, 0x03, 0x91, 0xD3}};
static const IID RegistrarInterface = {0x44EC053B, 0x400F, 0x11D0, {0x9D, 0xCD, 0x00, 0xA0, 0xC9, 0x03, 0x91, 0xD3}};

#if defined(__WINE__)

#define MAX_COLUMN_NAME_LEN 80
#define MAX_COLUMN_DESC_LEN 128
#define SHCOLSTATE_TYPE_STR 0x00000001
#define SHCOLSTATE_SLOW 0x00000020
#define ISIOI_ICONFILE 0x00000001
#define ISIOI_ICONINDEX 0x00000002

#include <pshpack1.h>
typedef struct {
    SHCOLUMNID scid;
    VARTYPE vt;
    DWORD fmt;
    UINT cChars;
    DWORD csFlags;
    WCHAR wszTitle[MAX_COLUMN_NAME_LEN];
    WCHAR wszDescription[MAX_COLUMN_DESC_LEN];
} SHCOLUMNINFO, *LPSHCOLUMNINFO;
typedef const SHCOLUMNINFO* LPCSHCOLUMNINFO;
#include <poppack.h>

#include <pshpack8.h>
typedef struct {
    ULONG dwFlags;
    ULONG dwReserved;
    WCHAR wszFolder[MAX_PATH];
} SHCOLUMNINIT, *LPSHCOLUMNINIT;
typedef const SHCOLUMNINIT* LPCSHCOLUMNINIT;

typedef struct {
    ULONG dwFlags;
    DWORD dwFileAttributes;
    ULONG dwReserved;
    WCHAR* pwszExt;
    WCHAR wszFile[MAX_PATH];
} SHCOLUMNDATA, *LPSHCOLUMNDATA;
typedef const SHCOLUMNDATA* LPCSHCOLUMNDATA;
#include <poppack.h>

static const IID IID_IColumnProvider = {0xE8025004, 0x1C42, 0x11D2, {0xBE, 0x2C, 0x00, 0xA0, 0xC9, 0xA8, 0x3D, 0xA1}};
struct IColumnProvider : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE Initialize(LPCSHCOLUMNINIT psci) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetColumnInfo(DWORD dwIndex, SHCOLUMNINFO* psci) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetItemData(LPCSHCOLUMNID pscid, LPCSHCOLUMNDATA pscd, VARIANT* pvarData) = 0;
};

static const IID IID_IShellIconOverlayIdentifier = {0x0C6C4200, 0xC589, 0x11D0, {0x99, 0x9A, 0x00, 0xC0, 0x4F, 0xD6, 0x55, 0xE1}};
struct IShellIconOverlayIdentifier : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE IsMemberOf(LPCWSTR pwszPath, DWORD dwAttrib) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetOverlayInfo(LPWSTR pwszIconFile, int cchMax, int* pIndex, DWORD* pdwFlags) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetPriority(int* pPriority) = 0;
};

#endif
