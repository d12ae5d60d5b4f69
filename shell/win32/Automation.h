// What the server's dual interfaces share: IDispatch answered from the module's type library,
// errors reported to scripts through IErrorInfo, and the enumerator that For Each walks.
#pragma once

#include "Server.h"

#include <cstddef>
#include <functional>
#include <string>

namespace Lumeno::Shell {

// The type information of one of the module's interfaces, loaded once per process (null when
// the type library cannot be read). The reference stays with the cache.
ITypeInfo* typeInfoOf(REFIID iid);
// Lets go of the cached type information (the module is being unloaded).
void releaseTypeInfos();

// Sets the thread's error information (the description scripts show as Err.Description, the
// ProgID as its source) and answers `code`.
HRESULT reportError(REFIID iid, const wchar_t* source, const std::string& message, HRESULT code = E_FAIL);

// A method's failure as the exception Invoke answers: the error information set by the method
// (when there is any) in `exception`.
HRESULT asException(HRESULT failure, EXCEPINFO* exception);

// IDispatch for a dual interface, from its type library description; a failure with error
// information comes back to the script as an exception carrying that information.
template <class Interface> class Dispatch : public Interface {
public:
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override
    {
        if (count == nullptr) {
            return E_POINTER;
        }
        *count = 1;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT index, LCID, ITypeInfo** info) override
    {
        if (info == nullptr) {
            return E_POINTER;
        }
        *info = nullptr;
        if (index != 0) {
            return DISP_E_BADINDEX;
        }
        ITypeInfo* own = typeInfoOf(__uuidof(Interface));
        if (own == nullptr) {
            return TYPE_E_CANTLOADLIBRARY;
        }
        own->AddRef();
        *info = own;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID, DISPID* ids) override
    {
        ITypeInfo* own = typeInfoOf(__uuidof(Interface));
        return own == nullptr ? TYPE_E_CANTLOADLIBRARY : DispGetIDsOfNames(own, names, count, ids);
    }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID, LCID, WORD flags, DISPPARAMS* parameters, VARIANT* result,
                                     EXCEPINFO* exception, UINT* badArgument) override
    {
        ITypeInfo* own = typeInfoOf(__uuidof(Interface));
        if (own == nullptr) {
            return TYPE_E_CANTLOADLIBRARY;
        }
        SetErrorInfo(0, nullptr);
        // A property called like a method is read: JScript's Enumerator asks for _NewEnum so,
        // and its calls such as fields.Item(0).Value() read properties so too.
        if ((flags & DISPATCH_METHOD) != 0) {
            flags |= DISPATCH_PROPERTYGET;
        }
        const HRESULT hr = own->Invoke(static_cast<Interface*>(this), id, flags, parameters, result, exception, badArgument);
        return hr == DISP_E_EXCEPTION || SUCCEEDED(hr) ? hr : asException(hr, exception);
    }
};

// An object whose one interface is the dual `Interface` (with IDispatch), aggregatable like any
// other.
template <class Interface> class DispatchObject : public ComObject, public Dispatch<Interface> {
public:
    explicit DispatchObject(IUnknown* outer) : ComObject(outer) {}
    LUMENO_DELEGATING_UNKNOWN

protected:
    void* interfaceFor(REFIID riid) override
    {
        if (IsEqualIID(riid, IID_IDispatch) || IsEqualIID(riid, __uuidof(Interface))) {
            return static_cast<Interface*>(this);
        }
        return nullptr;
    }
};

// IEnumVARIANT over `count` items, the i-th made by `item` when it is handed out; its clones
// share `item`.
HRESULT createVariantEnumerator(std::size_t count, std::function<HRESULT(std::size_t, VARIANT*)> item, IUnknown** out);

} // namespace Lumeno::Shell
