/* The contract of the 1394 access library.
 *
 * A library that implements this header performs every transaction of the program. It is a shared
 * object named Twl1394api.so beside the executable, loaded at run time. The simulated bus is one
 * such library; the one over the kernel's FireWire devices is another. tests/access/conformance has
 * each rule of this header as a test, for any library.
 *
 * Rules for every operation unless its comment states otherwise:
 *  - Plain C. No exception crosses the boundary. All integers have a fixed width.
 *  - Buffers and records belong to the caller and are used only during the call.
 *  - The program calls from a single thread. An operation may block it up to its time-out.
 *  - Both callbacks of Twl1394Client may be called from any thread, even during an operation. They
 *    return at once; the program handles their content later. They call no operation.
 *  - An operation with another client than the registered one, or with another device name, fails
 *    and changes nothing. So does one with a null pointer.
 *  - Signals belong to the program: a thread of the library should block them. Its descriptors are
 *    closed on exec.
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
 * default never takes its place. A library that reads it does so in RegisterClient.
 *
 * The simulated bus: a description (docs/simulated-bus.md). The kernel's bus: the number of a card,
 * as the kernel counts them; by default the first card on whose bus a node of vendor 0x000F1B is
 * seen, before any is seen the first card at all. Once chosen for such a node, a card is kept until
 * it is removed. A replay: the record. */
#define TWL1394_BUS_VARIABLE "TWL1394_BUS"

/* Notices, posted through Twl1394Client::PostNotice.
 *
 * BUS_RESET means: node numbers may have changed, read the topology again. It is posted once for
 * each reset, whoever started it; when the adapter or another bus takes the place of the current
 * one, or the adapter goes; and again without a reset if a node that answered 121 can now be
 * reached. Registering a client posts none. The program waits 200 ms after it before it reads the
 * topology.
 * DEVICE_CHANGE: the operating system has gained or lost a device; for the log alone.
 * DRIVER_ERROR: something that no other notice covers. The program treats it as a bus reset, and
 * gives up at the 20th. */
enum {
    TWL1394_NOTICE_BUS_RESET_VHPD = 1044, /* bus reset, second driver family */
    TWL1394_NOTICE_DEVICE_CHANGE = 1325,
    TWL1394_NOTICE_BUS_RESET = 1326,
    TWL1394_NOTICE_INCOMING_DATA = 1327, /* a node wrote into an allocated address range */
    TWL1394_NOTICE_DRIVER_ERROR = 1328
};

/* Results of AsyncReadWrapper and AsyncWriteWrapper, and what they stand for on the bus. */
#define TWL1394_SUCCESS 1
/* No such node, no acknowledge, always busy, the bus's own time-out, adapter removed meanwhile. */
#define TWL1394_NODE_DID_NOT_RESPOND 121
/* A bus reset came before the end; whether the node has carried it out isn't known. Returned once the
 * bus has its new numbers, even if that takes a little longer than TimeoutMs: the program may repeat it
 * at once, and gives up after three times. Also without anything sent: if the number has belonged to
 * another device since the client last read the topology map, a library that can tell returns this
 * until the map is read again. */
#define TWL1394_BUS_RESET ((int32_t)0x80000001)
#define TWL1394_SHUTTING_DOWN ((int32_t)0x80000002) /* no client, or it is being deregistered */
#define TWL1394_ADDRESS_ERROR ((int32_t)0x80000017) /* response code address error or type error */
/* TimeoutMs has passed; what the node answers later is dropped. */
#define TWL1394_TIMED_OUT ((int32_t)0x80000102)
/* Any other response code or failure, a response with too little data, no adapter, and invalid
 * arguments. */
#define TWL1394_NO_RESPONSE ((int32_t)0x8000013D)

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

/* 552 bytes. The library uses RequiredOffset and Length, and sets RangeHandle, which is never 0. */
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

/* 4120 bytes. Level 6 reads CsrLength bytes at CsrAddress of the local node into CsrData. It is the
 * only level, and the topology map the only register that every library has.
 * The topology map (CSR address 0xFFFFF0001000) has little-endian integers: length in bytes 0 to 1,
 * CRC in 2 to 3, generation in 4 to 7, node count in 8 to 9, self-ID count in 10 to 11. Self-ID
 * packets follow from byte 12, four bytes each, most significant byte first, in the order of node
 * numbers. Both counts are the number of nodes, and a node has one packet or, if bit 0 of its first
 * one is set, two: the bus has up to four a node, but the program skips exactly one. Length is in
 * quadlets and counts those after the first. The generation differs after each reset. Beyond the
 * map there are zeros. */
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

/* 1 on success, with or without an adapter: notices and debug text then go to Client. One client at
 * a time, any number in turn. */
int32_t RegisterClient(const Twl1394Client* Client);
/* 1 on success. Ends transactions that are under way and frees address ranges; may wait for the
 * operating system meanwhile. Neither callback is called after it has returned. */
int32_t DeRegisterClient(const Twl1394Client* Client);
/* 1 on success. Name, 0-terminated, is a module of the program. */
int32_t HookSystemModule(const char* Name);
/* Sets the lowest level of debug text to report, from 1 (everything) to 17 (nothing). */
int32_t SetDebugSpew(const Twl1394Client* Client, int32_t Level);
/* Fills the list: one device while there is a bus, otherwise none. The result is ignored. */
int32_t GetVirtualDeviceList(Twl1394VirtualDeviceList* List);
/* 0 on success. Reserved is 0. The program adds "1394_VIRTUAL_DEVICE" when the list is empty; a
 * library without a driver to load looks for its adapter again, and fails if there is none. It may
 * keep the device that the program removes. */
int32_t AddVirtualDriver(const Twl1394Client* Client, const Twl1394VirtualDevice* Record, uint32_t Reserved);
int32_t RemoveVirtualDriver(const Twl1394Client* Client, const Twl1394VirtualDevice* Record, uint32_t Reserved);
/* 0 on success. Device, here and below, is the first name of the virtual device list. */
int32_t Get1394AddressFromDeviceObject(const Twl1394Client* Client, const char* Device,
                                       Twl1394NodeAddressRequest* Request);
/* The result is ignored; on failure CsrData stays unchanged. */
int32_t GetLocalHostInformation(const Twl1394Client* Client, const char* Device, Twl1394HostInformation* Request,
                                uint32_t Reserved);
/* 0 on success. Starts a bus reset, whose notice follows: on a real bus some 10 ms later, and seconds
 * later if there has just been another one. Several may become one. */
int32_t BusReset(const Twl1394Client* Client, const char* Device, uint32_t Flags);
/* 0 on success. The range is exactly where RequiredOffset says, and exclusive: it fails if any of it
 * is taken, also by another program. An adapter may want multiples of 4, and then rounds the length
 * up. Writes of other nodes into the range post TWL1394_NOTICE_INCOMING_DATA once each; the content
 * isn't handed over. What they wrote they can read; any other request, and one that isn't inside,
 * gets an error response. The range outlives bus resets and the adapter's being removed and put
 * back. */
int32_t AllocateAddressRange(const Twl1394Client* Client, const char* Device, Twl1394AddressRange* Range,
                             uint32_t Reserved);
/* 0 on success; fails for a handle that isn't allocated. */
int32_t FreeAddressRange(const Twl1394Client* Client, const char* Device, uint32_t RangeHandle);
/* One block transaction of Size bytes (a multiple of 4, 4 to TWL1394_MAX_PAYLOAD); one of 4 bytes may
 * be a quadlet transaction. It is never split, not even for a node that is too slow for its size.
 * They block until done, at most TimeoutMs; 0 means the bus's own time-out. The result is one of the
 * codes above. A failed read leaves Data unchanged; nothing is ever sent twice.
 * A write to TWL1394_BROADCAST_NODE reaches every node but this computer, and succeeds without
 * waiting, also when nobody is there; a bus that can't broadcast to an address sends it to each node
 * it can reach. */
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
