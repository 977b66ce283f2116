/* The contract of the 1394 access library.
 *
 * A library that implements this header performs every transaction of the program. It is a shared
 * object named Twl1394api.so beside the executable, loaded at run time. The simulated bus is one
 * such library; a driver for real hardware is another.
 *
 * Rules for every operation unless its comment states otherwise:
 *  - Plain C. No exception crosses the boundary. All integers have a fixed width.
 *  - Buffers and records belong to the caller and are used only during the call.
 *  - The program calls from a single thread. An operation may block it up to its time-out.
 *  - Both callbacks of Twl1394Client may be called from any thread, even during an operation. They
 *    return at once; the program handles their content later.
 *  - Record fields are in host byte order. Transaction buffers are in bus order (first byte on the
 *    wire first) and never swapped.
 */
#ifndef TWL1394API_H
#define TWL1394API_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define TWL1394_INTERFACE_VERSION 1u

/* The environment variable by which the program chooses the bus, before it loads the library. What
 * its value names is the library's own affair: a file, a card. Unset or empty: the library's
 * default. If there is no such bus, there is no virtual device, and the debug text says why; the
 * default never takes its place. */
#define TWL1394_BUS_VARIABLE "TWL1394_BUS"

/* Notices, posted through Twl1394Client::PostNotice. */
enum {
    TWL1394_NOTICE_BUS_RESET_VHPD = 1044, /* bus reset, second driver family */
    TWL1394_NOTICE_DEVICE_CHANGE = 1325,
    TWL1394_NOTICE_BUS_RESET = 1326,
    TWL1394_NOTICE_INCOMING_DATA = 1327, /* a node wrote into an allocated address range */
    TWL1394_NOTICE_DRIVER_ERROR = 1328
};

/* Results of AsyncReadWrapper and AsyncWriteWrapper. */
#define TWL1394_SUCCESS 1
#define TWL1394_NODE_DID_NOT_RESPOND 121
#define TWL1394_BUS_RESET ((int32_t)0x80000001)     /* a bus reset interrupted the transaction */
#define TWL1394_SHUTTING_DOWN ((int32_t)0x80000002) /* the library's own shutdown event is set */
#define TWL1394_ADDRESS_ERROR ((int32_t)0x80000017) /* response error packet */
#define TWL1394_TIMED_OUT ((int32_t)0x80000102)
#define TWL1394_NO_RESPONSE ((int32_t)0x8000013D) /* no response, or an error response */

#define TWL1394_MAX_PAYLOAD 2048u
#define TWL1394_BROADCAST_NODE 63u

/* The callbacks of the library's user. Must stay valid from RegisterClient to DeRegisterClient. */
typedef struct Twl1394Client {
    void* Context;
    /* Posts a notice by its number. Any thread. */
    void (*PostNotice)(void* Context, uint32_t Number);
    /* Appends debug text (8-bit code page, lines end in CR LF). Any thread. */
    void (*AppendDebugText)(void* Context, const char* Text);
} Twl1394Client;

/* A 48-bit destination offset (IEEE 1394-1995, 3.3), 8 bytes. */
typedef struct Twl1394Address {
    uint16_t AddressHigh;
    uint16_t Fill;
    uint32_t AddressLow;
} Twl1394Address;

/* 552 bytes. The library sets RangeHandle, which is never 0. */
typedef struct Twl1394AddressRange {
    uint32_t AllocateFlags;
    uint32_t Flags;
    uint32_t Length; /* bytes */
    uint32_t MaxSegmentSize;
    uint32_t AccessType;
    uint32_t NotificationOptions;
    Twl1394Address RequiredOffset;
    uint32_t RangeHandle;
    uint8_t Remainder[516];
} Twl1394AddressRange;

/* NodeAddress: bits 0 to 5 node number, bits 6 to 15 bus number. */
typedef struct Twl1394NodeAddressRequest {
    uint32_t Flags; /* 1 */
    uint16_t NodeAddress;
} Twl1394NodeAddressRequest;

/* 4120 bytes. Level 6 reads CsrLength bytes at CsrAddress of the local node into CsrData.
 * The topology map (CSR address 0xFFFFF0001000) has little-endian integers: length in bytes 0 to 1,
 * CRC in 2 to 3, generation in 4 to 7, node count in 8 to 9, self-ID count in 10 to 11. Self-ID
 * packets follow from byte 12, four bytes each, most significant byte first. */
typedef struct Twl1394HostInformation {
    uint32_t Status;
    uint32_t Level;
    uint32_t BufferSize;
    Twl1394Address CsrAddress;
    uint32_t CsrLength;
    uint8_t CsrData[4096];
} Twl1394HostInformation;

typedef struct Twl1394VirtualDevice {
    uint32_t Flags;
    uint32_t Fill;
    uint64_t InstanceId;
    const char* Name; /* 0-terminated, at most 33 bytes including the terminator */
} Twl1394VirtualDevice;

#define TWL1394_MAX_VIRTUAL_DEVICES 10
typedef struct Twl1394VirtualDeviceList {
    uint32_t DeviceCount;
    char Name[TWL1394_MAX_VIRTUAL_DEVICES][256]; /* 0-terminated */
} Twl1394VirtualDeviceList;

/* The interface version that the library implements; the program accepts only its own. */
uint32_t Twl1394InterfaceVersion(void);

/* 1 on success: notices and debug text then go to Client. One client at a time. */
int32_t RegisterClient(const Twl1394Client* Client);
/* Neither callback is called after it has returned. */
int32_t DeRegisterClient(const Twl1394Client* Client);
/* 1 on success. Name, 0-terminated, is a module of the program. */
int32_t HookSystemModule(const char* Name);
/* Sets the lowest level of debug text to report, from 1 (everything) to 17 (nothing). */
int32_t SetDebugSpew(const Twl1394Client* Client, int32_t Level);
/* Fills the list. The result is ignored. */
int32_t GetVirtualDeviceList(Twl1394VirtualDeviceList* List);
/* 0 on success. Reserved is 0. */
int32_t AddVirtualDriver(const Twl1394Client* Client, const Twl1394VirtualDevice* Record, uint32_t Reserved);
int32_t RemoveVirtualDriver(const Twl1394Client* Client, const Twl1394VirtualDevice* Record, uint32_t Reserved);
/* 0 on success. Device, here and below, is the first name of the virtual device list. */
int32_t Get1394AddressFromDeviceObject(const Twl1394Client* Client, const char* Device,
                                       Twl1394NodeAddressRequest* Request);
/* The result is ignored; on failure CsrData stays unchanged. */
int32_t GetLocalHostInformation(const Twl1394Client* Client, const char* Device, Twl1394HostInformation* Request,
                                uint32_t Reserved);
/* Starts a bus reset, whose notice follows. */
int32_t BusReset(const Twl1394Client* Client, const char* Device, uint32_t Flags);
/* 0 on success. Writes of other nodes into the range post TWL1394_NOTICE_INCOMING_DATA. */
int32_t AllocateAddressRange(const Twl1394Client* Client, const char* Device, Twl1394AddressRange* Range,
                             uint32_t Reserved);
/* 0 on success. */
int32_t FreeAddressRange(const Twl1394Client* Client, const char* Device, uint32_t RangeHandle);
/* One block transaction of Size bytes (a multiple of 4, 4 to TWL1394_MAX_PAYLOAD). They block until
 * done, at most TimeoutMs; 0 means the bus's own time-out. The result is one of the codes above.
 * A failed read leaves Data unchanged. */
int32_t AsyncReadWrapper(uint32_t NodeNumber, const Twl1394Address* Address, uint32_t Size, uint8_t* Data,
                         uint32_t TimeoutMs);
int32_t AsyncWriteWrapper(uint32_t NodeNumber, const Twl1394Address* Address, uint32_t Size, const uint8_t* Data,
                          uint32_t TimeoutMs);
/* Whole milliseconds since *Counter, in nanoseconds of CLOCK_MONOTONIC. Never blocks. */
uint32_t QueryElapsedTimeMsLongInt(const int64_t* Counter);

#ifdef __cplusplus
}
#endif
#endif
