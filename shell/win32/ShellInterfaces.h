// The Windows headers this server needs, and the interfaces MinGW-w64's headers lack, declared
// here once with their documented IIDs: ATL's registrar (IRegistrar) comes with ATL's
// atliface.h, which the Windows SDK has and MinGW-w64 does not.
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



// SHCreatePropSheetExtArrayEx (the property-sheet handlers of a registry key, initialised with a
// data object): shell32 exports it by ordinal only, and neither MinGW-w64's headers nor its
// import library know it.
using CreatePropSheetExtArrayExFunction = HPSXA(WINAPI*)(HKEY key, LPCWSTR subKey, UINT most, IDataObject* data);
constexpr WORD CreatePropSheetExtArrayExOrdinal = 194;
