#ifndef TRAVIK_H
#define TRAVIK_H

/* Made by scripts/make_flat.py from src/c/travik.h.in, vbox_instance.h and docs/operations.tsv; change those. */

/*
 * The library for any compiler and any language: TravikSDK-c.dll, C99, 64-bit Windows. It wants TravikSDK-selq6.dll of
 * the same version in the same folder.
 *
 *     travik_error* error = NULL;
 *     travik_machine machine;
 *     travik_progress progress;
 *     if (travik_open(NULL, NULL) == 0 &&
 *         travik_findMachine("Player", &machine, 0, &error) == 0 &&
 *         travik_launchVMProcess(machine, "headless", NULL, 0, &progress, 0, &error) == 0 &&
 *         travik_finishProgress(progress, 60000, &error) == 0)
 *         puts("runs");
 *     else if (error != NULL)
 *         fprintf(stderr, "%s: %s: %s\n", error->operation, error->codeName, error->text);
 *     travik_freeError(&error);
 *     travik_close(0, NULL);
 *
 * Results. A function returns 0 or a code: the library's own, 101 to 215, which the comments name, or one of 1001
 * upwards, which any function can return. The last parameter takes an error that says more, owned by the caller; null
 * when not wanted.
 *
 * Texts are UTF-8 and end at the first zero. Texts that go in must not be null. What UTF-8 cannot say (half a
 * surrogate pair) comes out as U+FFFD.
 *
 * Outputs are set to zero first and filled on success only. An output may be null when its answer is not wanted. Texts
 * and lists that come out belong to the caller and are given back by the travik_free functions, which take the address
 * and set it to zero, so that freeing twice is harmless.
 *
 * Handles name VirtualBox's objects. Every call that hands out an object makes a new one; the caller gives each back
 * by the release function of its kind, which never waits and does no harm when called twice. Zero names nothing. A
 * struct of eight bytes is passed as a 64-bit number: other languages may declare it so.
 *
 * Threads. Any thread may call. One worker thread owns COM and does the calls one after the other; a call waits for
 * its turn and its answer, so keep it off the thread of a window. Waits for a progress or an event let other calls in.
 *
 * deadlineMs limits a call, in milliseconds from now: 0 is what travik_options say, TRAVIK_NO_DEADLINE no limit. A
 * call that has not begun by then never will; one that has begun goes on behind the caller's back, and what it hands
 * out is given back, a lock of lockMachine too.
 */

#include <stddef.h>
#include <stdint.h>

#if defined(_WIN32) && !defined(TRAVIK_C_STATIC)
#define TRAVIK_C_API __declspec(dllimport)
#else
#define TRAVIK_C_API
#endif

/* NOLINTBEGIN(modernize-use-using): it is C */
#ifdef __cplusplus
extern "C" {
#endif

#define TRAVIK_VERSION "1.0.0"
#define TRAVIK_VERSION_MAJOR 1
#define TRAVIK_VERSION_MINOR 0
#define TRAVIK_VERSION_PATCH 0

/* The library */

enum
{
    /* The calling thread owns the apartment, and calls run on it: make them all there, as docs/threading.md says. No
       worker, no deadlines, no watches. */
    TRAVIK_OPEN_CALLER_THREAD = 1,
    /* VirtualBox's objects are created by the first call that needs them, not by travik_open. */
    TRAVIK_OPEN_LAZY = 2
};

#define TRAVIK_NO_DEADLINE UINT32_MAX

typedef struct travik_options
{
    uint32_t size;       /* sizeof(travik_options) */
    uint32_t flags;      /* TRAVIK_OPEN_... */
    const char* logPath; /* the log's file; null: standard output */
    uint32_t deadlineMs; /* of calls that give 0; 0: none */
    uint32_t reserved;   /* 0 */
} travik_options;

/* What a call left behind. Give it back with travik_freeError; the texts go with it, and are never null. */
typedef struct travik_error
{
    uint32_t code;          /* what the function returned */
    uint32_t result;        /* VirtualBox's HRESULT; 0 when VirtualBox was not asked or did not say */
    const char* codeName;   /* "FindMachineFail" */
    const char* resultName; /* "VBOX_E_OBJECT_NOT_FOUND"; may be empty */
    const char* operation;  /* "findMachine" */
    const char* text;       /* what is known in words; may be empty */
} travik_error;

/* Begins: starts the worker and creates VirtualBox's objects. options may be null. One travik_open at a time in a
   process; the DLL stays loaded from then on. 101 with the HRESULT when VirtualBox cannot be reached; the library is
   not open then. */
TRAVIK_C_API uint32_t travik_open(const travik_options* options, travik_error** error);

/* Ends: calls that wait for their turn fail with TRAVIK_Closed, a running one comes to its end, watches end, all
   handles are dropped, the worker leaves. From any thread, also inside a callback; when it has returned no callback
   runs (but the one that called it). TRAVIK_Deadline when a running call lasts longer: call it again. While the
   process is leaving it returns at once. */
TRAVIK_C_API uint32_t travik_close(uint32_t deadlineMs, travik_error** error);

/* The version of the DLL, as TRAVIK_VERSION, and the VirtualBox that it drives: "selq6" or "stock61". Not to be
   freed. */
TRAVIK_C_API const char* travik_version(void);
TRAVIK_C_API const char* travik_identity(void);

/* The names of a code ("Unknow" for one without) and of an HRESULT (empty for one without). Not to be freed. */
TRAVIK_C_API const char* travik_codeName(uint32_t code);
TRAVIK_C_API const char* travik_resultName(uint32_t result);

/* Whether an HRESULT says that VirtualBox's server is gone, and with it every object that handles name: then call
   travik_resetComComponent and find the machines again. */
TRAVIK_C_API uint32_t travik_isServerGone(uint32_t result);

/* Whether an HRESULT says that the machine is still locked: try again in a moment, as travik_lockMachineInTime does. */
TRAVIK_C_API uint32_t travik_isLockRace(uint32_t result);

TRAVIK_C_API void travik_freeError(travik_error** error);
TRAVIK_C_API void travik_freeText(char** text);

/* Codes that are not the library's own. */
enum
{
    TRAVIK_NotUtf8 = 1001,        /* a text that goes in is not UTF-8 */
    TRAVIK_NullArgument = 1002,   /* a text, list or output that is required is null */
    TRAVIK_Closed = 1003,         /* not open, or closed during the call */
    TRAVIK_Deadline = 1004,       /* the deadline passed; the error's text says whether the operation had begun */
    TRAVIK_WrongHandle = 1005,    /* a handle of another kind, or a watch that is not known */
    TRAVIK_AlreadyOpen = 1006,    /* travik_open while open, or before travik_close came to its end */
    TRAVIK_OutOfMemory = 1007,    /* no memory */
    TRAVIK_FileSystem = 1008,     /* the file system refused; the text tells what */
    TRAVIK_Unexpected = 1009,     /* an exception that nobody expects; the text tells which */
    TRAVIK_NeedsWorker = 1010,    /* a watch or a deadline together with TRAVIK_OPEN_CALLER_THREAD */
    TRAVIK_LibraryMissing = 1011, /* TravikSDK-selq6.dll, of the same version, is not beside TravikSDK-c.dll */
    TRAVIK_BadOptions = 1012,     /* travik_options with a size or a flag that this version does not know */
};

/* The library's own codes; docs/errors.md has causes and remedies. */
enum
{
    TRAVIK_InitVboxComFail = 101,
    TRAVIK_VBoxInstance_LinkFail = 102,
    TRAVIK_RegisterHelper_TargetNotFoundFail = 103,
    TRAVIK_RegisterHelper_OpenKeyFail = 104,
    TRAVIK_RegisterHelper_QueryKeyFail = 105,
    TRAVIK_OpenMachineFail = 106,
    TRAVIK_FindMachineFail = 107,
    TRAVIK_LaunchVMProcessFail = 108,
    TRAVIK_LockMachineFail = 109,
    TRAVIK_UnlockMachineFail = 110,
    TRAVIK_RegisterMachineFail = 111,
    TRAVIK_MachineGetStateFail = 112,
    TRAVIK_CreateMutableMachineFail = 113,
    TRAVIK_ReleaseMutableMachineFail = 114,
    TRAVIK_SetMachineCPUCountFail = 115,
    TRAVIK_SetMachineMemoryFail = 116,
    TRAVIK_SetMachineParavirtProviderFail = 117,
    TRAVIK_SetMachineExtraDataFail = 118,
    TRAVIK_SaveSettingsFail = 119,
    TRAVIK_PowerDownFail = 120,
    TRAVIK_ProgressWaitForCompletionFail = 121,
    TRAVIK_GetProgressCompletedFail = 122,
    TRAVIK_GetProgressResultCodeFail = 123,
    TRAVIK_GetProgressErrorInfoFail = 124,
    TRAVIK_GetHostFail = 125,
    TRAVIK_HostGetProcessorFeatureFail = 126,
    TRAVIK_MachineRemoveSharedFolderFail = 127,
    TRAVIK_MachineCreateSharedFolderFail = 128,
    TRAVIK_GetConsoleFail = 129,
    TRAVIK_ConsoleGetStateFail = 130,
    TRAVIK_ConsoleResumeFail = 131,
    TRAVIK_ConsoleRemoveSharedFolderFail = 132,
    TRAVIK_ConsoleCreateSharedFolderFail = 133,
    TRAVIK_GetNetworkAdapterFail = 134,
    TRAVIK_GetNATEngineFail = 135,
    TRAVIK_RemoveRedirectFail = 136,
    TRAVIK_AddRedirectFail = 137,
    TRAVIK_GetRedirectsFail = 138,
    TRAVIK_GetGuestPropertyFail = 139,
    TRAVIK_SetGuestPropertyFail = 140,
    TRAVIK_DeleteGuestPropertyFail = 141,
    TRAVIK_GetAudioAdapterFail = 142,
    TRAVIK_SetAudioAdapterEnabledFail = 143,
    TRAVIK_GetEventSourceFail = 144,
    TRAVIK_EventSourceCreateListenerFail = 145,
    TRAVIK_EventSourceRegisterListenerFail = 146,
    TRAVIK_EventSourceUnregisterListenerFail = 147,
    TRAVIK_SafeArrayCreateFail = 148,
    TRAVIK_EventSourceGetEventFail = 149,
    TRAVIK_EventSourceEventProcessedFail = 150,
    TRAVIK_EventSourceEventGetTypeFail = 151,
    TRAVIK_GetEventSourceStateChangedEventFail = 152,
    TRAVIK_EventSourceStateChangedEventGetStateFail = 153,
    TRAVIK_GetEventSourceRuntimeErrorEventFail = 154,
    TRAVIK_EventSourceRuntimeErrorEventGetFatalFail = 155,
    TRAVIK_EventSourceRuntimeErrorEventGetIdFail = 156,
    TRAVIK_EventSourceRuntimeErrorEventGetMessageFail = 157,
    TRAVIK_GetMachineExtraDataFail = 158,
    TRAVIK_ComposeMachineFilenameFail = 159,
    TRAVIK_GetSystemPropertiesFail = 160,
    TRAVIK_PutDefaultMachineFolderFail = 161,
    TRAVIK_GetDefaultMachineFolderFail = 162,
    TRAVIK_OpenMediumFail = 163,
    TRAVIK_CloseMediumFail = 164,
    TRAVIK_SetAutoDiscardForDeviceFail = 165,
    TRAVIK_NonRotationalDeviceFail = 166,
    TRAVIK_AttachDeviceFail = 167,
    TRAVIK_DetachDeviceFail = 168,
    TRAVIK_PutNameFail = 169,
    TRAVIK_CreateApplianceFail = 170,
    TRAVIK_ApplianceReadFail = 171,
    TRAVIK_ApplianceInterpretFail = 172,
    TRAVIK_SetImportOptionsFail = 173,
    TRAVIK_ApplianceImportMachinesFail = 174,
    TRAVIK_SafeArrayCreateIntVectorFail = 175,
    TRAVIK_ApplianceGetMachinesFail = 176,
    TRAVIK_CreateMachineFail = 177,
    TRAVIK_CloneMachineFail = 178,
    TRAVIK_MachineUnregisterFail = 179,
    TRAVIK_MachineDeleteConfigFail = 180,
    TRAVIK_COM_Get_MachineFail = 181,
    TRAVIK_COM_Get_MutableMachineFail = 182,
    TRAVIK_COM_Get_ProgressFail = 183,
    TRAVIK_COM_Get_ConsoleFail = 184,
    TRAVIK_COM_Get_EventSourceFail = 185,
    TRAVIK_COM_Get_EventSourceListenerFail = 186,
    TRAVIK_COM_Get_EventFail = 187,
    TRAVIK_COM_Get_StateChangedEventFail = 188,
    TRAVIK_COM_Get_RuntimeErrorEventFail = 189,
    TRAVIK_COM_Get_AudioAdaptFail = 190,
    TRAVIK_COM_Get_NatEngineFail = 191,
    TRAVIK_COM_Get_NetAdaptFail = 192,
    TRAVIK_COM_Get_HostFail = 193,
    TRAVIK_COM_Get_MediumFail = 194,
    TRAVIK_CheckFileExistsFail = 195,
    TRAVIK_RenameFilePathFail = 196,
    TRAVIK_RemoveFilePathFail = 197,
    TRAVIK_MachineGetStorageControllerByNameFail = 198,
    TRAVIK_StorageControllerGetPortCountFail = 199,
    TRAVIK_MediumGetLocationFail = 200,
    TRAVIK_MachineGetMediumFail = 201,
    TRAVIK_ProgressCancelFail = 202,
    TRAVIK_ProgressGetDescriptionFail = 203,
    TRAVIK_ProgressGetErrorInfoFail = 204,
    TRAVIK_ProgressGetCancelFail = 205,
    TRAVIK_ProgressGetCancelableFail = 206,
    TRAVIK_VBoxCoInitializeFail = 207,
    TRAVIK_VBoxCoCreateInstanceVBoxFail = 208,
    TRAVIK_VBoxCoCreateInstanceSessionFail = 209,
    TRAVIK_ApplianceGetVirtualSystemDescriptionsFail = 211,
    TRAVIK_VirtualSystemDescriptionGetValuesFail = 212,
    TRAVIK_MediumGetStateFail = 213,
    TRAVIK_MediumGetLastAccessErrorFail = 214,
    TRAVIK_MediumGetIdFail = 215
};

/* Handles */

typedef struct travik_machine
{
    uint64_t value;
} travik_machine;
typedef struct travik_progress
{
    uint64_t value;
} travik_progress;
typedef struct travik_console
{
    uint64_t value;
} travik_console;
typedef struct travik_event_source
{
    uint64_t value;
} travik_event_source;
typedef struct travik_event_listener
{
    uint64_t value;
} travik_event_listener;
typedef struct travik_event
{
    uint64_t value;
} travik_event;
typedef struct travik_state_changed_event
{
    uint64_t value;
} travik_state_changed_event;
typedef struct travik_runtime_error_event
{
    uint64_t value;
} travik_runtime_error_event;
typedef struct travik_audio_adapter
{
    uint64_t value;
} travik_audio_adapter;
typedef struct travik_nat_engine
{
    uint64_t value;
} travik_nat_engine;
typedef struct travik_network_adapter
{
    uint64_t value;
} travik_network_adapter;
typedef struct travik_host
{
    uint64_t value;
} travik_host;
typedef struct travik_medium
{
    uint64_t value;
} travik_medium;

/* Gives the memory of a list back; the handles in it are given back one by one. */
typedef struct travik_machines
{
    travik_machine* items;
    uint32_t count;
} travik_machines;
TRAVIK_C_API void travik_freeMachines(travik_machines* machines);

typedef struct travik_texts
{
    char** items;
    uint32_t count;
} travik_texts;
TRAVIK_C_API void travik_freeTexts(travik_texts* texts);

/* VirtualBox 6.1's own values */

/* What travik_toHResult takes and travik_toVBoxResultCode gives. */
enum travik_VBoxResultCode
{
    TRAVIK_VBoxResultCode_Null = 0,
    TRAVIK_VBoxResultCode_ObjectNotFound = 1,
    TRAVIK_VBoxResultCode_InvalidVMState = 2,
    TRAVIK_VBoxResultCode_VMError = 3,
    TRAVIK_VBoxResultCode_FileError = 4,
    TRAVIK_VBoxResultCode_IPRTError = 5,
    TRAVIK_VBoxResultCode_PDMError = 6,
    TRAVIK_VBoxResultCode_InvalidObjectState = 7,
    TRAVIK_VBoxResultCode_HostError = 8,
    TRAVIK_VBoxResultCode_NotSupported = 9,
    TRAVIK_VBoxResultCode_XMLError = 10,
    TRAVIK_VBoxResultCode_InvalidSessionState = 11,
    TRAVIK_VBoxResultCode_ObjectInUse = 12,
    TRAVIK_VBoxResultCode_PasswordIncorrect = 13,
    TRAVIK_VBoxResultCode_MaximumReached = 14,
    TRAVIK_VBoxResultCode_GstctlGuestError = 15,
    TRAVIK_VBoxResultCode_Timeout = 16,
    TRAVIK_VBoxResultCode_OleUnexpected = 17,
    TRAVIK_VBoxResultCode_OleNotImpl = 18,
    TRAVIK_VBoxResultCode_OleOutOfMemory = 19,
    TRAVIK_VBoxResultCode_OleInvalidArg = 20,
    TRAVIK_VBoxResultCode_OleNoInterface = 21,
    TRAVIK_VBoxResultCode_OlePointer = 22,
    TRAVIK_VBoxResultCode_OleAbort = 23,
    TRAVIK_VBoxResultCode_OleFail = 24,
    TRAVIK_VBoxResultCode_OleAccessDenied = 25,
    TRAVIK_VBoxResultCode_RpcCallFailed = 26,
    TRAVIK_VBoxResultCode_RpcServerUnavailable = 27,
    TRAVIK_VBoxResultCode_RpcCallFailedDne = 28,
    TRAVIK_VBoxResultCode_RpcDisconnected = 29,
    TRAVIK_VBoxResultCode_RpcUnknownInterface = 30,
    TRAVIK_VBoxResultCode_Unknown = 31
};

/* HRESULTs, as an error's result tells them. */
#define TRAVIK_Result_Ok UINT32_C(0x00000000)
#define TRAVIK_Result_ObjectNotFound UINT32_C(0x80BB0001)
#define TRAVIK_Result_InvalidVMState UINT32_C(0x80BB0002)
#define TRAVIK_Result_VMError UINT32_C(0x80BB0003)
#define TRAVIK_Result_FileError UINT32_C(0x80BB0004)
#define TRAVIK_Result_IPRTError UINT32_C(0x80BB0005)
#define TRAVIK_Result_PDMError UINT32_C(0x80BB0006)
#define TRAVIK_Result_InvalidObjectState UINT32_C(0x80BB0007)
#define TRAVIK_Result_HostError UINT32_C(0x80BB0008)
#define TRAVIK_Result_NotSupported UINT32_C(0x80BB0009)
#define TRAVIK_Result_XMLError UINT32_C(0x80BB000A)
#define TRAVIK_Result_InvalidSessionState UINT32_C(0x80BB000B)
#define TRAVIK_Result_ObjectInUse UINT32_C(0x80BB000C)
#define TRAVIK_Result_PasswordIncorrect UINT32_C(0x80BB000D)
#define TRAVIK_Result_MaximumReached UINT32_C(0x80BB000E)
#define TRAVIK_Result_GstctlGuestError UINT32_C(0x80BB000F)
#define TRAVIK_Result_Timeout UINT32_C(0x80BB0010)
#define TRAVIK_Result_Unexpected UINT32_C(0x8000FFFF)
#define TRAVIK_Result_NotImpl UINT32_C(0x80004001)
#define TRAVIK_Result_OutOfMemory UINT32_C(0x8007000E)
#define TRAVIK_Result_InvalidArg UINT32_C(0x80070057)
#define TRAVIK_Result_NoInterface UINT32_C(0x80004002)
#define TRAVIK_Result_Pointer UINT32_C(0x80004003)
#define TRAVIK_Result_Abort UINT32_C(0x80004004)
#define TRAVIK_Result_Fail UINT32_C(0x80004005)
#define TRAVIK_Result_AccessDenied UINT32_C(0x80070005)
#define TRAVIK_Result_RpcCallFailed UINT32_C(0x800706BE)
#define TRAVIK_Result_RpcServerUnavailable UINT32_C(0x800706BA)
#define TRAVIK_Result_RpcCallFailedDne UINT32_C(0x800706BF)
#define TRAVIK_Result_RpcDisconnected UINT32_C(0x80010108)
#define TRAVIK_Result_RpcUnknownInterface UINT32_C(0x800706B5)
#define TRAVIK_Result_RpcNullReference UINT32_C(0x800706F4)
#define TRAVIK_Result_RpcWrongThread UINT32_C(0x8001010E)
#define TRAVIK_Result_RpcChangedMode UINT32_C(0x80010106)
#define TRAVIK_Result_CoNotInitialized UINT32_C(0x800401F0)
#define TRAVIK_Result_ClassNotRegistered UINT32_C(0x80040154)
#define TRAVIK_Result_ServerExecFailure UINT32_C(0x80080005)

enum travik_MachineState
{
    TRAVIK_MachineState_Null = 0,
    TRAVIK_MachineState_PoweredOff = 1,
    TRAVIK_MachineState_Saved = 2,
    TRAVIK_MachineState_Teleported = 3,
    TRAVIK_MachineState_Aborted = 4,
    TRAVIK_MachineState_Running = 5,
    TRAVIK_MachineState_Paused = 6,
    TRAVIK_MachineState_Stuck = 7,
    TRAVIK_MachineState_Teleporting = 8,
    TRAVIK_MachineState_LiveSnapshotting = 9,
    TRAVIK_MachineState_Starting = 10,
    TRAVIK_MachineState_Stopping = 11,
    TRAVIK_MachineState_Saving = 12,
    TRAVIK_MachineState_Restoring = 13,
    TRAVIK_MachineState_TeleportingPausedVM = 14,
    TRAVIK_MachineState_TeleportingIn = 15,
    TRAVIK_MachineState_DeletingSnapshotOnline = 16,
    TRAVIK_MachineState_DeletingSnapshotPaused = 17,
    TRAVIK_MachineState_OnlineSnapshotting = 18,
    TRAVIK_MachineState_RestoringSnapshot = 19,
    TRAVIK_MachineState_DeletingSnapshot = 20,
    TRAVIK_MachineState_SettingUp = 21,
    TRAVIK_MachineState_Snapshotting = 22
};

enum travik_LockType
{
    TRAVIK_LockType_Null = 0,
    TRAVIK_LockType_Shared = 1,
    TRAVIK_LockType_Write = 2,
    TRAVIK_LockType_VM = 3
};

enum travik_MediumState
{
    TRAVIK_MediumState_NotCreated = 0,
    TRAVIK_MediumState_Created = 1,
    TRAVIK_MediumState_LockedRead = 2,
    TRAVIK_MediumState_LockedWrite = 3,
    TRAVIK_MediumState_Inaccessible = 4,
    TRAVIK_MediumState_Creating = 5,
    TRAVIK_MediumState_Deleting = 6
};

enum travik_ParavirtProvider
{
    TRAVIK_ParavirtProvider_Null = 0,
    TRAVIK_ParavirtProvider_Default = 1,
    TRAVIK_ParavirtProvider_Legacy = 2,
    TRAVIK_ParavirtProvider_Minimal = 3,
    TRAVIK_ParavirtProvider_HyperV = 4,
    TRAVIK_ParavirtProvider_KVM = 5
};

enum travik_NATProtocol
{
    TRAVIK_NATProtocol_UDP = 0,
    TRAVIK_NATProtocol_TCP = 1
};

enum travik_ProcessorFeature
{
    TRAVIK_ProcessorFeature_HWVirtEx = 0,
    TRAVIK_ProcessorFeature_PAE = 1,
    TRAVIK_ProcessorFeature_LongMode = 2,
    TRAVIK_ProcessorFeature_NestedPaging = 3,
    TRAVIK_ProcessorFeature_UnrestrictedGuest = 4,
    TRAVIK_ProcessorFeature_NestedHWVirt = 5
};

enum travik_VBoxEventType
{
    TRAVIK_VBoxEventType_Invalid = 0,
    TRAVIK_VBoxEventType_Any = 1,
    TRAVIK_VBoxEventType_Vetoable = 2,
    TRAVIK_VBoxEventType_MachineEvent = 3,
    TRAVIK_VBoxEventType_SnapshotEvent = 4,
    TRAVIK_VBoxEventType_InputEvent = 5,
    TRAVIK_VBoxEventType_OnMachineStateChanged = 32,
    TRAVIK_VBoxEventType_OnMachineDataChanged = 33,
    TRAVIK_VBoxEventType_OnExtraDataChanged = 34,
    TRAVIK_VBoxEventType_OnExtraDataCanChange = 35,
    TRAVIK_VBoxEventType_OnMediumRegistered = 36,
    TRAVIK_VBoxEventType_OnMachineRegistered = 37,
    TRAVIK_VBoxEventType_OnSessionStateChanged = 38,
    TRAVIK_VBoxEventType_OnSnapshotTaken = 39,
    TRAVIK_VBoxEventType_OnSnapshotDeleted = 40,
    TRAVIK_VBoxEventType_OnSnapshotChanged = 41,
    TRAVIK_VBoxEventType_OnGuestPropertyChanged = 42,
    TRAVIK_VBoxEventType_OnMousePointerShapeChanged = 43,
    TRAVIK_VBoxEventType_OnMouseCapabilityChanged = 44,
    TRAVIK_VBoxEventType_OnKeyboardLedsChanged = 45,
    TRAVIK_VBoxEventType_OnStateChanged = 46,
    TRAVIK_VBoxEventType_OnAdditionsStateChanged = 47,
    TRAVIK_VBoxEventType_OnNetworkAdapterChanged = 48,
    TRAVIK_VBoxEventType_OnSerialPortChanged = 49,
    TRAVIK_VBoxEventType_OnParallelPortChanged = 50,
    TRAVIK_VBoxEventType_OnStorageControllerChanged = 51,
    TRAVIK_VBoxEventType_OnMediumChanged = 52,
    TRAVIK_VBoxEventType_OnVRDEServerChanged = 53,
    TRAVIK_VBoxEventType_OnUSBControllerChanged = 54,
    TRAVIK_VBoxEventType_OnUSBDeviceStateChanged = 55,
    TRAVIK_VBoxEventType_OnSharedFolderChanged = 56,
    TRAVIK_VBoxEventType_OnRuntimeError = 57,
    TRAVIK_VBoxEventType_OnCanShowWindow = 58,
    TRAVIK_VBoxEventType_OnShowWindow = 59,
    TRAVIK_VBoxEventType_OnCPUChanged = 60,
    TRAVIK_VBoxEventType_OnVRDEServerInfoChanged = 61,
    TRAVIK_VBoxEventType_OnEventSourceChanged = 62,
    TRAVIK_VBoxEventType_OnCPUExecutionCapChanged = 63,
    TRAVIK_VBoxEventType_OnNATRedirect = 66,
    TRAVIK_VBoxEventType_OnVBoxSVCAvailabilityChanged = 68,
    TRAVIK_VBoxEventType_OnStorageDeviceChanged = 71,
    TRAVIK_VBoxEventType_OnSnapshotRestored = 95,
    TRAVIK_VBoxEventType_OnMediumConfigChanged = 96,
    TRAVIK_VBoxEventType_OnAudioAdapterChanged = 97,
    TRAVIK_VBoxEventType_OnProgressPercentageChanged = 98,
    TRAVIK_VBoxEventType_OnProgressTaskCompleted = 99
};

/* Longer work */

/* Waits until a progress is complete and fails as its task did: 121 with the task's own HRESULT and text. The task
   goes on after TRAVIK_Deadline. 183, 121 to 124. */
TRAVIK_C_API uint32_t travik_finishProgress(travik_progress progress, uint32_t deadlineMs, travik_error** error);

/* travik_lockMachine that waits, up to waitMs milliseconds, while another lock is just being given back. VirtualBox
   gives a lock back only a moment after a machine reads as powered off. 181, 101, 109. */
TRAVIK_C_API uint32_t travik_lockMachineInTime(travik_machine machine, uint32_t lockType, uint32_t waitMs,
                                               uint32_t deadlineMs, travik_error** error);

/* Watching a running machine */

enum
{
    TRAVIK_NOTICE_STATE = 1,         /* state */
    TRAVIK_NOTICE_RUNTIME_ERROR = 2, /* fatal, id, text */
    TRAVIK_NOTICE_RESYNC = 3,        /* notices were lost: ask for the state anew */
    TRAVIK_NOTICE_ENDED = 4          /* the last one: the console is gone; code, result, text of the call that met it */
};

typedef struct travik_notice
{
    uint32_t kind;   /* TRAVIK_NOTICE_... */
    uint32_t state;  /* as in MachineState */
    uint32_t fatal;  /* 1: the machine has been paused and cannot go on */
    uint32_t code;   /* of the call that met the end */
    uint32_t result; /* and its HRESULT */
    uint32_t reserved;
    const char* id;   /* never null */
    const char* text; /* never null */
} travik_notice;

typedef struct travik_watcher
{
    uint64_t value;
} travik_watcher;

/* Takes one notice, which lasts until the callback returns. Runs on one thread of the library, one at a time; it may
   call everything here, travik_unwatch and travik_close too. It must not throw. */
typedef void (*travik_callback)(void* context, const travik_notice* notice);

/* Watches the machine of a console; the console's handle may be given back meanwhile. With a null callback the
   notices wait for travik_nextNotice (1000 at most, then the oldest go and a resync comes). 184, 144 to 146. */
TRAVIK_C_API uint32_t travik_watch(travik_console console, travik_callback callback, void* context,
                                   travik_watcher* watcher, uint32_t deadlineMs, travik_error** error);

/* Ends a watch. When it has returned, no callback of the watch runs or will run (but the one that called it). Never
   waits for VirtualBox; an unknown watch does no harm. */
TRAVIK_C_API uint32_t travik_unwatch(travik_watcher watcher);

/* The next notice of a watch without callback, waiting up to waitMs milliseconds; null when none came. Needs no turn
   of the worker. Give it back with travik_freeNotice. TRAVIK_WrongHandle when the watch has ended or has a callback. */
TRAVIK_C_API uint32_t travik_nextNotice(travik_watcher watcher, uint32_t waitMs, travik_notice** notice,
                                        travik_error** error);
TRAVIK_C_API void travik_freeNotice(travik_notice** notice);

/* Operations: docs/operations.md tells locks and waits of each. */

/* Sends the log to this file (appending), away from standard output. Succeeds also when the file cannot be opened:
   the log then stays on standard output. */
TRAVIK_C_API uint32_t travik_setLogPath(const char* path, uint32_t deadlineMs, travik_error** error);

/* A free machine name: prefix, "_" and the first number from 1 to 99 whose settings file does not exist; an empty
   prefix stands for "kolbrenix_vbox86". The 99th is handed out even when it is taken. 101, 159. */
TRAVIK_C_API uint32_t travik_createVmName(const char* prefix, char** name, uint32_t deadlineMs, travik_error** error);

/* Where VirtualBox would put the settings file of a machine of that name. 101, 159. */
TRAVIK_C_API uint32_t travik_composeMachineFilename(const char* name, char** file, uint32_t deadlineMs,
                                                    travik_error** error);

/* The folder in which VirtualBox creates machines. 101, 160, 162. */
TRAVIK_C_API uint32_t travik_getDefaultMachineFolder(char** folder, uint32_t deadlineMs, travik_error** error);

/* Changes the folder in which VirtualBox creates machines; it must exist. 195, 101, 160, 161. */
TRAVIK_C_API uint32_t travik_setDefaultMachineFolder(const char* folder, uint32_t deadlineMs, travik_error** error);

/* Opens a hard-disk image for reading and writing. forceNewUuid gives the image a new UUID. Give the handle back
   with travik_releaseMedium. 195 (no such file), 101, 163. */
TRAVIK_C_API uint32_t travik_openMedium(const char* location, uint32_t forceNewUuid, travik_medium* medium,
                                        uint32_t deadlineMs, travik_error** error);

/* Makes VirtualBox forget the image; the handle stays until travik_releaseMedium. 194, 164. */
TRAVIK_C_API uint32_t travik_closeMedium(travik_medium medium, uint32_t deadlineMs, travik_error** error);

/* Removes the image's file. Close the medium afterwards: a closed one no longer tells its location. 194, 200, 197
   (not removed). */
TRAVIK_C_API uint32_t travik_deleteMedium(travik_medium medium, uint32_t deadlineMs, travik_error** error);

/* Puts an image on a controller's port and device, marked as a solid-state disk that takes discards (a refused mark
   is only logged). The machine must be the mutable one of a locked session; kept by travik_saveSettings. 181, 194,
   167. */
TRAVIK_C_API uint32_t travik_attachMedium(travik_machine machine, travik_medium medium, const char* controllerName,
                                          int32_t port, int32_t device, uint32_t deadlineMs, travik_error** error);

/* Takes the image off a controller's port and device; kept by travik_saveSettings. 181, 168. */
TRAVIK_C_API uint32_t travik_detachMedium(travik_machine machine, const char* controllerName, int32_t port,
                                          int32_t device, uint32_t deadlineMs, travik_error** error);

/* Renames a machine; takes effect with travik_saveSettings, which also moves its files. 181, 169. */
TRAVIK_C_API uint32_t travik_setVmName(travik_machine machine, const char* name, uint32_t deadlineMs,
                                       travik_error** error);

/* The name of a machine. 181, 169 (the code of travik_setVmName). */
TRAVIK_C_API uint32_t travik_getVmName(travik_machine machine, char** name, uint32_t deadlineMs, travik_error** error);

/* The UUID of a machine, lower case without braces. 181, 169 (the code of travik_setVmName). */
TRAVIK_C_API uint32_t travik_getVmUUID(travik_machine machine, char** uuid, uint32_t deadlineMs, travik_error** error);

/* The machine name that an import of this appliance file would give; empty when the file gives none. Blocks until
   the file is read. 195, 101, 170, 171, 121, 172, 211. */
TRAVIK_C_API uint32_t travik_getImportOvaVmName(const char* ovaPath, char** name, uint32_t deadlineMs,
                                                travik_error** error);

/* Imports an appliance file, its disks as VDI; the machine is then found by its name. Blocks until done, which can
   take minutes, and lets no other call in meanwhile. 195, 101, 170, 171, 121, 172, 148, 174. */
TRAVIK_C_API uint32_t travik_importOva(const char* ovaPath, uint32_t deadlineMs, travik_error** error);

/* Creates an empty machine, neither saved nor registered; an empty settingsFile means the composed one. Give the
   handle back with travik_releaseMachine. 101, 177. */
TRAVIK_C_API uint32_t travik_createMachine(const char* settingsFile, const char* name, travik_machine* machine,
                                           uint32_t deadlineMs, travik_error** error);

/* Copies all states of source into target, a machine from travik_createMachine that is not registered yet. Blocks
   until the disks are copied. 181, 178, 121. */
TRAVIK_C_API uint32_t travik_cloneToMachine(travik_machine source, travik_machine target, uint32_t deadlineMs,
                                            travik_error** error);

/* Unregisters a machine and deletes its settings and hard disks. Blocks until done. The handle stays until
   travik_releaseMachine. 181, 179, 180, 121. */
TRAVIK_C_API uint32_t travik_deleteMachine(travik_machine machine, uint32_t deadlineMs, travik_error** error);

/* Moves a disk image file; VirtualBox is not told, so detach and close the image first. Nothing is overwritten. 196. */
TRAVIK_C_API uint32_t travik_renameVmDisk(const char* fromPath, const char* toPath, uint32_t deadlineMs,
                                          travik_error** error);

/* Creates the VirtualBox objects now rather than on first need. travik_open does it already unless told otherwise.
   101, with the HRESULT of what failed. */
TRAVIK_C_API uint32_t travik_initComComponent(uint32_t deadlineMs, travik_error** error);

/* Drops all objects and handles and creates the VirtualBox objects anew, for example after the server died; watches
   end. 101, with the HRESULT of what failed. */
TRAVIK_C_API uint32_t travik_resetComComponent(uint32_t deadlineMs, travik_error** error);

/* Drops all objects and handles. The next operation that needs VirtualBox creates the objects again. */
TRAVIK_C_API uint32_t travik_releaseRC(uint32_t deadlineMs, travik_error** error);

/* The HRESULT of the last failed VirtualBox call of any thread or watch: the error of a call tells its own. */
TRAVIK_C_API uint32_t travik_getVBoxError(uint32_t* result, uint32_t deadlineMs, travik_error** error);

/* The text of the last recorded failure of any thread or watch: the error of a call tells its own. */
TRAVIK_C_API uint32_t travik_getVBoxErrorMessage(char** message, uint32_t deadlineMs, travik_error** error);

/* Opens a machine by its settings file; it need not be registered. Give the handle back with travik_releaseMachine.
   101, 106. */
TRAVIK_C_API uint32_t travik_openMachine(const char* settingsFile, travik_machine* machine, uint32_t deadlineMs,
                                         travik_error** error);

/* Finds a registered machine by its exact name or its UUID. Give the handle back with travik_releaseMachine. 101,
   107. */
TRAVIK_C_API uint32_t travik_findMachine(const char* nameOrId, travik_machine* machine, uint32_t deadlineMs,
                                         travik_error** error);

/* Starts a machine. type is the front end that VirtualBox knows ("headless", "gui", ...); environmentChanges are
   NAME=value or NAME entries for its process, null for none. travik_finishProgress waits and tells whether the
   machine runs. Give the progress back with travik_releaseProgress. Not for a locked machine or session; without a
   session VirtualBox refuses it. 181, 108. */
TRAVIK_C_API uint32_t travik_launchVMProcess(travik_machine machine, const char* type,
                                             const char* const* environmentChanges, uint32_t environmentChangesCount,
                                             travik_progress* progress, uint32_t deadlineMs, travik_error** error);

/* Locks a machine to the library's one session; lockType as in LockType. Without a session VirtualBox refuses it.
   181, 109. */
TRAVIK_C_API uint32_t travik_lockMachine(travik_machine machine, uint32_t lockType, uint32_t deadlineMs,
                                         travik_error** error);

/* Gives the session's lock back; changes that were not saved are lost. 101, 110. */
TRAVIK_C_API uint32_t travik_unlockMachine(uint32_t deadlineMs, travik_error** error);

/* Adds a machine to VirtualBox's list. 101, 181, 111. */
TRAVIK_C_API uint32_t travik_registerMachine(travik_machine machine, uint32_t deadlineMs, travik_error** error);

/* The state of a machine, as in MachineState. 181, 112. */
TRAVIK_C_API uint32_t travik_machineGetState(travik_machine machine, uint32_t* state, uint32_t deadlineMs,
                                             travik_error** error);

/* A value of a machine's extra data, empty when there is none. 181, 158. */
TRAVIK_C_API uint32_t travik_getMachineExtraData(travik_machine machine, const char* key, char** value,
                                                 uint32_t deadlineMs, travik_error** error);

/* The mutable machine of the library's session, whatever machine is passed: travik_lockMachine decides. Give the
   handle back with travik_releaseMachine. 101, 113. */
TRAVIK_C_API uint32_t travik_createMutableMachine(travik_machine machine, travik_machine* mutableMachine,
                                                  uint32_t deadlineMs, travik_error** error);

/* Sets the number of processors; on a mutable machine, kept by travik_saveSettings. 181, 115. */
TRAVIK_C_API uint32_t travik_setMachineCPUCount(travik_machine machine, uint32_t count, uint32_t deadlineMs,
                                                travik_error** error);

/* Sets the memory size; on a mutable machine, kept by travik_saveSettings. 181, 116. */
TRAVIK_C_API uint32_t travik_setMachineMemory(travik_machine machine, uint32_t megabytes, uint32_t deadlineMs,
                                              travik_error** error);

/* Sets the paravirtualisation provider, as in ParavirtProvider; on a mutable machine, kept by travik_saveSettings.
   181, 117. */
TRAVIK_C_API uint32_t travik_setMachineParavirtProvider(travik_machine machine, uint32_t provider, uint32_t deadlineMs,
                                                        travik_error** error);

/* Sets a value of a machine's extra data; an empty value deletes the key. 181, 118. */
TRAVIK_C_API uint32_t travik_setMachineExtraData(travik_machine machine, const char* key, const char* value,
                                                 uint32_t deadlineMs, travik_error** error);

/* Writes a mutable machine's settings. 181, 119. */
TRAVIK_C_API uint32_t travik_saveSettings(travik_machine machine, uint32_t deadlineMs, travik_error** error);

/* Switches a running machine off. Wait on the progress; release it with travik_releaseProgress. 184, 120. */
TRAVIK_C_API uint32_t travik_powerDown(travik_console console, travik_progress* progress, uint32_t deadlineMs,
                                       travik_error** error);

/* Waits until a progress is complete or the time, in milliseconds, is over (-1: without limit); success says only
   that the wait was not disturbed. 183, 121, 122. travik_finishProgress tells the outcome, too. */
TRAVIK_C_API uint32_t travik_progressWaitForCompletion(travik_progress progress, int32_t timeoutMs, uint32_t deadlineMs,
                                                       travik_error** error);

/* Whether a progress is complete, 0 or 1. 183, 122. */
TRAVIK_C_API uint32_t travik_getProgressCompleted(travik_progress progress, uint32_t* completed, uint32_t deadlineMs,
                                                  travik_error** error);

/* The result of a complete progress: an HRESULT, negative for failure. 183, 123. */
TRAVIK_C_API uint32_t travik_getProgressResultCode(travik_progress progress, int32_t* resultCode, uint32_t deadlineMs,
                                                   travik_error** error);

/* The error text of a failed progress; empty when there is none. 183, 124. */
TRAVIK_C_API uint32_t travik_getProgressErrorInfo(travik_progress progress, char** errorText, uint32_t deadlineMs,
                                                  travik_error** error);

/* The host computer. Give the handle back with travik_releaseHost. 101, 125. */
TRAVIK_C_API uint32_t travik_getHost(travik_host* host, uint32_t deadlineMs, travik_error** error);

/* Whether the host's processor has a feature, as in ProcessorFeature: 0 or 1. 193, 126. */
TRAVIK_C_API uint32_t travik_hostGetProcessorFeature(travik_host host, uint32_t feature, uint32_t* supported,
                                                     uint32_t deadlineMs, travik_error** error);

/* Removes a permanent shared folder; on a mutable machine, kept by travik_saveSettings. 181, 127. */
TRAVIK_C_API uint32_t travik_machineRemoveSharedFolder(travik_machine machine, const char* name, uint32_t deadlineMs,
                                                       travik_error** error);

/* Shares a host folder permanently; on a mutable machine, kept by travik_saveSettings. Non-zero writable and
   automount mean yes. 181, 128. */
TRAVIK_C_API uint32_t travik_machineCreateSharedFolder(travik_machine machine, const char* name, const char* hostPath,
                                                       uint32_t writable, uint32_t automount, uint32_t deadlineMs,
                                                       travik_error** error);

/* The console of the session's running machine. 0 when the session has none. Give the handle back with
   travik_releaseConsole. 101, 129. */
TRAVIK_C_API uint32_t travik_getConsole(travik_console* console, uint32_t deadlineMs, travik_error** error);

/* The state of the console's machine, as in MachineState. 184, 130. */
TRAVIK_C_API uint32_t travik_consoleGetState(travik_console console, uint32_t* state, uint32_t deadlineMs,
                                             travik_error** error);

/* Lets a paused machine run on. 184, 131. */
TRAVIK_C_API uint32_t travik_consoleResume(travik_console console, uint32_t deadlineMs, travik_error** error);

/* Removes a shared folder of the running machine. 184, 132. */
TRAVIK_C_API uint32_t travik_consoleRemoveSharedFolder(travik_console console, const char* name, uint32_t deadlineMs,
                                                       travik_error** error);

/* Shares a host folder with the running machine only. Non-zero writable and automount mean yes. 184, 133. */
TRAVIK_C_API uint32_t travik_consoleCreateSharedFolder(travik_console console, const char* name, const char* hostPath,
                                                       uint32_t writable, uint32_t automount, uint32_t deadlineMs,
                                                       travik_error** error);

/* A network adapter of a machine, the first in slot 0. Give the handle back with travik_releaseNetworkAdapter. 181,
   134. */
TRAVIK_C_API uint32_t travik_getNetworkAdapter(travik_machine machine, uint32_t slot, travik_network_adapter* adapter,
                                               uint32_t deadlineMs, travik_error** error);

/* The NAT engine of a network adapter. Give the handle back with travik_releaseNATEngine. 192, 135. */
TRAVIK_C_API uint32_t travik_getNATEngine(travik_network_adapter adapter, travik_nat_engine* natEngine,
                                          uint32_t deadlineMs, travik_error** error);

/* Removes a port-forwarding rule. 191, 136. */
TRAVIK_C_API uint32_t travik_removeRedirect(travik_nat_engine natEngine, const char* name, uint32_t deadlineMs,
                                            travik_error** error);

/* Adds a port-forwarding rule; protocol as in NATProtocol, addresses in dotted form or empty for VirtualBox's
   default. Only the low 16 bits of a port count. An equal rule makes it fail. 191, 137. */
TRAVIK_C_API uint32_t travik_addRedirect(travik_nat_engine natEngine, const char* name, uint32_t protocol,
                                         const char* hostIP, uint32_t hostPort, const char* guestIP, uint32_t guestPort,
                                         uint32_t deadlineMs, travik_error** error);

/* The port-forwarding rules as "name,protocol,host address,host port,guest address,guest port", all but the last
   one: the list never holds it, so a single rule gives an empty list. 191, 138. */
TRAVIK_C_API uint32_t travik_getRedirects(travik_nat_engine natEngine, travik_texts* rules, uint32_t deadlineMs,
                                          travik_error** error);

/* A guest property with its time stamp (nanoseconds since 1970) and flags. 181, 139. */
TRAVIK_C_API uint32_t travik_getGuestProperty(travik_machine machine, const char* name, char** value,
                                              int64_t* timestamp, char** flags, uint32_t deadlineMs,
                                              travik_error** error);

/* Sets a guest property; flags are comma-separated, empty for none. 181, 140. */
TRAVIK_C_API uint32_t travik_setGuestProperty(travik_machine machine, const char* name, const char* value,
                                              const char* flags, uint32_t deadlineMs, travik_error** error);

/* Deletes a guest property. 181, 141. */
TRAVIK_C_API uint32_t travik_deleteGuestProperty(travik_machine machine, const char* name, uint32_t deadlineMs,
                                                 travik_error** error);

/* The audio adapter of a machine. Give the handle back with travik_releaseAudioAdapter. 181, 142. */
TRAVIK_C_API uint32_t travik_getAudioAdapter(travik_machine machine, travik_audio_adapter* audioAdapter,
                                             uint32_t deadlineMs, travik_error** error);

/* Switches an audio adapter on (non-zero) or off; kept by travik_saveSettings. 190, 143. */
TRAVIK_C_API uint32_t travik_setAudioAdapterEnabled(travik_audio_adapter audioAdapter, uint32_t enabled,
                                                    uint32_t deadlineMs, travik_error** error);

/* The event source of a running machine's console. travik_eventSourceUnregisterListener or travik_releaseEventSource
   give the handle back. 184, 144. */
TRAVIK_C_API uint32_t travik_getEventSource(travik_console console, travik_event_source* eventSource,
                                            uint32_t deadlineMs, travik_error** error);

/* A new listener. travik_eventSourceUnregisterListener or travik_releaseEventListener give the handle back. 185,
   145. */
TRAVIK_C_API uint32_t travik_eventSourceCreateListener(travik_event_source eventSource, travik_event_listener* listener,
                                                       uint32_t deadlineMs, travik_error** error);

/* Registers a listener for event types as in VBoxEventType. active is 0: the caller pulls the events. VirtualBox
   drops a listener that leaves more than 500 events unread. 185, 186, 148, 146. */
TRAVIK_C_API uint32_t travik_eventSourceRegisterListener(travik_event_source eventSource,
                                                         travik_event_listener listener, const uint32_t* types,
                                                         uint32_t typesCount, uint32_t active, uint32_t deadlineMs,
                                                         travik_error** error);

/* Ends the registration. On success both handles are given back too. 185, 186, 147. */
TRAVIK_C_API uint32_t travik_eventSourceUnregisterListener(travik_event_source eventSource,
                                                           travik_event_listener listener, uint32_t deadlineMs,
                                                           travik_error** error);

/* The next event, waiting up to timeoutMs milliseconds for it; 0 when none came. Mark it with
   travik_eventSourceEventProcessed, then give it back with travik_eventSourceReleaseEvent. 185, 186, 149. */
TRAVIK_C_API uint32_t travik_eventSourceGetEvent(travik_event_source eventSource, travik_event_listener listener,
                                                 uint32_t timeoutMs, travik_event* event, uint32_t deadlineMs,
                                                 travik_error** error);

/* Gives an event's handle back. 187. */
TRAVIK_C_API uint32_t travik_eventSourceReleaseEvent(travik_event event, uint32_t deadlineMs, travik_error** error);

/* Tells VirtualBox that the listener is done with the event. 185, 186, 187, 150. */
TRAVIK_C_API uint32_t travik_eventSourceEventProcessed(travik_event_source eventSource, travik_event_listener listener,
                                                       travik_event event, uint32_t deadlineMs, travik_error** error);

/* The type of an event, as in VBoxEventType. 187, 151. */
TRAVIK_C_API uint32_t travik_eventSourceEventGetType(travik_event event, uint32_t* type, uint32_t deadlineMs,
                                                     travik_error** error);

/* The event as a change of state; fails for events of another type. Give the handle back with
   travik_releaseStateChangedEvent. 187, 152. */
TRAVIK_C_API uint32_t travik_getEventSourceStateChangedEvent(travik_event event,
                                                             travik_state_changed_event* stateChangedEvent,
                                                             uint32_t deadlineMs, travik_error** error);

/* The new state, as in MachineState. 188, 153. */
TRAVIK_C_API uint32_t travik_eventSourceStateChangedEventGetState(travik_state_changed_event stateChangedEvent,
                                                                  uint32_t* state, uint32_t deadlineMs,
                                                                  travik_error** error);

/* The event as a runtime error; fails for events of another type. Give the handle back with
   travik_releaseRuntimeErrorEvent. 187, 154. */
TRAVIK_C_API uint32_t travik_getEventSourceRuntimeErrorEvent(travik_event event,
                                                             travik_runtime_error_event* runtimeErrorEvent,
                                                             uint32_t deadlineMs, travik_error** error);

/* Whether the error is fatal, 0 or 1. 189, 155. */
TRAVIK_C_API uint32_t travik_eventSourceRuntimeErrorEventGetFatal(travik_runtime_error_event runtimeErrorEvent,
                                                                  int32_t* fatal, uint32_t deadlineMs,
                                                                  travik_error** error);

/* The error's identifier. 189, 156. */
TRAVIK_C_API uint32_t travik_eventSourceRuntimeErrorEventGetId(travik_runtime_error_event runtimeErrorEvent, char** id,
                                                               uint32_t deadlineMs, travik_error** error);

/* The error's text; may be empty. 189, 157. */
TRAVIK_C_API uint32_t travik_eventSourceRuntimeErrorEventGetMessage(travik_runtime_error_event runtimeErrorEvent,
                                                                    char** message, uint32_t deadlineMs,
                                                                    travik_error** error);

/* The number of ports of a storage controller. 181, 198, 199. */
TRAVIK_C_API uint32_t travik_getMachineStorageControllerPortCount(travik_machine machine, const char* controllerName,
                                                                  uint32_t* portCount, uint32_t deadlineMs,
                                                                  travik_error** error);

/* The full path of an image. 194, 200. */
TRAVIK_C_API uint32_t travik_getMediumLocation(travik_medium medium, char** location, uint32_t deadlineMs,
                                               travik_error** error);

/* The state of an image as in MediumState, checked on the file again. 194, 213. */
TRAVIK_C_API uint32_t travik_getMediumState(travik_medium medium, uint32_t* state, uint32_t deadlineMs,
                                            travik_error** error);

/* The UUID of an image, lower case without braces. 194, 215. */
TRAVIK_C_API uint32_t travik_getMediumUUID(travik_medium medium, char** uuid, uint32_t deadlineMs,
                                           travik_error** error);

/* Why the last check found the image inaccessible; empty when it did not. 194, 214. */
TRAVIK_C_API uint32_t travik_getMediumLastAccessError(travik_medium medium, char** text, uint32_t deadlineMs,
                                                      travik_error** error);

/* The image on a controller's port and device; 0 for an empty drive. Give the handle back with travik_releaseMedium.
   181, 201. */
TRAVIK_C_API uint32_t travik_getCurrentMedium(travik_machine machine, const char* controllerName, int32_t port,
                                              int32_t device, travik_medium* medium, uint32_t deadlineMs,
                                              travik_error** error);

/* A new handle for every registered machine. Give each back with travik_releaseMachine, and the list with
   travik_freeMachines. 101, 210 (VirtualBox could not list them), 148. */
TRAVIK_C_API uint32_t travik_listVms(travik_machines* machines, uint32_t deadlineMs, travik_error** error);

/* Converters between the library's numbering and VirtualBox's. Pure, any time; an unknown value gives 0. */

/* VirtualBox's machine state (MachineState) to the library's (SdkMachineState): 1 to 15 as they are, 17 to 23 one
   less. */
TRAVIK_C_API uint32_t travik_toSdkMachineState(uint32_t value);
/* The library's machine state (SdkMachineState) to VirtualBox's (MachineState): 1 to 15 as they are, 16 to 22 one
   more. */
TRAVIK_C_API uint32_t travik_toVBoxMachineState(uint32_t value);
/* 1 for 1. */
TRAVIK_C_API uint32_t travik_toVBoxFlagA(uint32_t value);
/* 1 for any non-zero value. */
TRAVIK_C_API uint32_t travik_toSdkFlagA(uint32_t value);
/* 1 to 5 as they are. */
TRAVIK_C_API uint32_t travik_toVBoxKindA(uint32_t value);
/* 1 to 5 as they are. */
TRAVIK_C_API uint32_t travik_toSdkKindA(uint32_t value);
/* 1 for 1. */
TRAVIK_C_API uint32_t travik_toVBoxFlagB(uint32_t value);
/* 1 for any non-zero value. */
TRAVIK_C_API uint32_t travik_toSdkFlagB(uint32_t value);
/* 1 to 6 as they are. */
TRAVIK_C_API uint32_t travik_toVBoxParavirtProvider(uint32_t value);
/* 1 to 6 as they are. */
TRAVIK_C_API uint32_t travik_toSdkParavirtProvider(uint32_t value);
/* The library's event type to VirtualBox's: 1 is 46 (state changed), 2 is 57 (runtime error). */
TRAVIK_C_API uint32_t travik_toVBoxEventType(uint32_t value);
/* VirtualBox's event type to the library's: 46 is 1, 57 is 2. */
TRAVIK_C_API uint32_t travik_toSdkEventType(uint32_t value);
/* 1 to 5 as they are. */
TRAVIK_C_API uint32_t travik_toVBoxKindB(uint32_t value);
/* 1 to 5 as they are. */
TRAVIK_C_API uint32_t travik_toSdkKindB(uint32_t value);
/* 1 for 1. */
TRAVIK_C_API uint32_t travik_toVBoxFlagC(uint32_t value);
/* 1 for any non-zero value. */
TRAVIK_C_API uint32_t travik_toSdkFlagC(uint32_t value);
/* 1 for 1. */
TRAVIK_C_API uint32_t travik_toVBoxSwitch(uint32_t value);
/* 1 for 1. */
TRAVIK_C_API uint32_t travik_toSdkSwitch(uint32_t value);
/* VBoxResultCode to HRESULT. */
TRAVIK_C_API uint32_t travik_toHResult(uint32_t value);
/* HRESULT to VBoxResultCode: 0 for 0, 31 for a result that the library does not know. */
TRAVIK_C_API uint32_t travik_toVBoxResultCode(uint32_t value);
/* 1 to 3 as they are. */
TRAVIK_C_API uint32_t travik_toVBoxKindC(uint32_t value);
/* 1 to 3 as they are. */
TRAVIK_C_API uint32_t travik_toSdkKindC(uint32_t value);

/* Giving handles back. They return 0 or TRAVIK_WrongHandle, and never wait. */

TRAVIK_C_API uint32_t travik_releaseMachine(travik_machine machine);
TRAVIK_C_API uint32_t travik_releaseProgress(travik_progress progress);
TRAVIK_C_API uint32_t travik_releaseConsole(travik_console console);
TRAVIK_C_API uint32_t travik_releaseEventSource(travik_event_source event_source);
TRAVIK_C_API uint32_t travik_releaseEventListener(travik_event_listener event_listener);
TRAVIK_C_API uint32_t travik_releaseEvent(travik_event event);
TRAVIK_C_API uint32_t travik_releaseStateChangedEvent(travik_state_changed_event state_changed_event);
TRAVIK_C_API uint32_t travik_releaseRuntimeErrorEvent(travik_runtime_error_event runtime_error_event);
TRAVIK_C_API uint32_t travik_releaseAudioAdapter(travik_audio_adapter audio_adapter);
TRAVIK_C_API uint32_t travik_releaseNATEngine(travik_nat_engine nat_engine);
TRAVIK_C_API uint32_t travik_releaseNetworkAdapter(travik_network_adapter network_adapter);
TRAVIK_C_API uint32_t travik_releaseHost(travik_host host);
TRAVIK_C_API uint32_t travik_releaseMedium(travik_medium medium);

#ifdef __cplusplus
}
#endif
/* NOLINTEND(modernize-use-using) */

#endif
