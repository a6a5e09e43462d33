/* Lists the proxy files of the DLL: VirtualBox's interfaces and the stand-in's own. */
#include <rpcproxy.h>

EXTERN_PROXY_FILE(virtualbox)
EXTERN_PROXY_FILE(vboxsim_control)

PROXYFILE_LIST_START
REFERENCE_PROXY_FILE(virtualbox), REFERENCE_PROXY_FILE(vboxsim_control),
    PROXYFILE_LIST_END

    DLLDATA_ROUTINES(aProxyFileList, GET_DLL_CLSID)

/* The interfaces that the proxies serve, one by one, for their registration; 0 behind the last one. */
int VBoxSimProxyInterface(unsigned index, const IID** id, const char** name)
{
    const ProxyFileInfo** file;
    for (file = aProxyFileList; *file; ++file) {
        if (index < (*file)->TableSize) {
            *id = (*file)->pStubVtblList[index]->header.piid;
            *name = (*file)->pNamesArray[index];
            return 1;
        }
        index -= (*file)->TableSize;
    }
    return 0;
}
