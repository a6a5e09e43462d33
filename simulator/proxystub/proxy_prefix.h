/* Read before the files that widl makes: what they need but do not include themselves. */
#pragma once

#include <windows.h>
#include <unknwn.h>

/* unknwn.h declares these for C without COBJMACROS only in part. */
HRESULT WINAPI IUnknown_QueryInterface_Proxy(IUnknown* This, REFIID riid, void** ppvObject);
ULONG WINAPI IUnknown_AddRef_Proxy(IUnknown* This);
ULONG WINAPI IUnknown_Release_Proxy(IUnknown* This);
