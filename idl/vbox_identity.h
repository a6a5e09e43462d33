/* The identifiers that tell one VirtualBox build from another; everything else is the same for all of VirtualBox 6.1.
 *
 * selq6, the default, is the build that ships with the emulator. stock61 is the VirtualBox 6.1 that anyone can download
 * (CMake option TRAVIK_VBOX_IDENTITY).
 */
#ifndef TRAVIK_VBOX_IDENTITY_H
#define TRAVIK_VBOX_IDENTITY_H

/* stock61 */
#define TRAVIK_STOCK61_LIBID_VirtualBox D7569351-1750-46F0-936E-BD127D5BC264
#define TRAVIK_STOCK61_CLSID_VirtualBox B1A7A4F2-47B9-4A1E-82B2-07CCD5323C3F
#define TRAVIK_STOCK61_CLSID_Session 3C02F46D-C9D2-4F11-A384-53F0CF917214
#define TRAVIK_STOCK61_IID_IVirtualBox D0A0163F-E254-4E5B-A1F2-011CF991C38D
#define TRAVIK_STOCK61_IID_ISession C0447716-FF5A-4795-B57A-ECD5FFFA18A4
#define TRAVIK_STOCK61_IID_IStateChangedEvent 4376693C-CF37-453B-9289-3B0F521CAF27
#define TRAVIK_STOCK61_IID_IRuntimeErrorEvent 883DD18B-0721-4CDE-867C-1A82ABAF914C

/* selq6; its type library is not known, and gets an identifier of our own, so that it stands beside the other one */
#define TRAVIK_SELQ6_LIBID_VirtualBox 6E0B7C54-2D7A-4F0C-9A83-5B1E4C2D9F03
#define TRAVIK_SELQ6_CLSID_VirtualBox 1F683030-EAD9-43D2-857B-E07CE78CCBAF
#define TRAVIK_SELQ6_CLSID_Session FAB3B688-E7F7-4EA2-8BC6-147159FA0CC3
#define TRAVIK_SELQ6_IID_IVirtualBox 3BD8351B-0463-4730-92BF-F5E5F413680B
#define TRAVIK_SELQ6_IID_ISession FCF56D6C-F560-4F3B-8B51-42CB699F0BB4
#define TRAVIK_SELQ6_IID_IStateChangedEvent 1A3980AC-A260-42CF-AEC3-34FFC6A385D3
#define TRAVIK_SELQ6_IID_IRuntimeErrorEvent A95CEDF1-3012-4619-BE23-58C955BD5891

/* The one that is built. */
#ifdef TRAVIK_IDENTITY_STOCK61
#define TRAVIK_LIBID_VirtualBox TRAVIK_STOCK61_LIBID_VirtualBox
#define TRAVIK_CLSID_VirtualBox TRAVIK_STOCK61_CLSID_VirtualBox
#define TRAVIK_CLSID_Session TRAVIK_STOCK61_CLSID_Session
#define TRAVIK_IID_IVirtualBox TRAVIK_STOCK61_IID_IVirtualBox
#define TRAVIK_IID_ISession TRAVIK_STOCK61_IID_ISession
#define TRAVIK_IID_IStateChangedEvent TRAVIK_STOCK61_IID_IStateChangedEvent
#define TRAVIK_IID_IRuntimeErrorEvent TRAVIK_STOCK61_IID_IRuntimeErrorEvent
#else
#define TRAVIK_LIBID_VirtualBox TRAVIK_SELQ6_LIBID_VirtualBox
#define TRAVIK_CLSID_VirtualBox TRAVIK_SELQ6_CLSID_VirtualBox
#define TRAVIK_CLSID_Session TRAVIK_SELQ6_CLSID_Session
#define TRAVIK_IID_IVirtualBox TRAVIK_SELQ6_IID_IVirtualBox
#define TRAVIK_IID_ISession TRAVIK_SELQ6_IID_ISession
#define TRAVIK_IID_IStateChangedEvent TRAVIK_SELQ6_IID_IStateChangedEvent
#define TRAVIK_IID_IRuntimeErrorEvent TRAVIK_SELQ6_IID_IRuntimeErrorEvent
#endif

/* The same in both builds. */
#define TRAVIK_CLSID_VirtualBoxClient DD3FC71D-26C0-4FE1-BF6F-67F633265BBA

#endif
