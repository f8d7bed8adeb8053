/// What one search sees: the USB interfaces, serial ports and other resources that the enumerators list. The lists live
/// for one search.
#pragma once

#include "QVvisa.h"
#include "export.h"

extern "C" {

/// One USB interface.
struct QVvisa_devIntfUsb_t {
  ViUInt16 vid;
  ViUInt16 pid;
  uint8_t bInterfaceNumber;  ///< as printed in a RAW resource name
  uint8_t bInterfaceClass;
  uint8_t bInterfaceSubClass;
  uint8_t bInterfaceProtocol;
  unsigned char sn[128];  ///< serial number, NUL-terminated
  int matchRE;            ///< 1 when the regular part matched this entry's resource name
  int matchAE;            ///< 1 when the attribute part is true for this entry
  int matchX;             ///< 1 when this entry is selected
};

/// One serial port.
struct QVvisa_devIntfAsrl_t {
  ViInt32 comPort;  ///< port number; -1 in an entry that enumeration hasn't filled
  int vid;          ///< USB vendor ID of the port's adapter, 0 if none is known
  int pid;          ///< USB product ID of the port's adapter, 0 if none is known
  int baudRate;     ///< what VI_ATTR_ASRL_BAUD is compared with: the rate that opening the port's resource name sets
  int matchRE;
  int matchAE;
  int matchX;
};

struct QVvisa_devIntfListUsb_t {
  int numDevIntfUsb;
  QVvisa_devIntfUsb_t* intfUsb;  ///< owned
  int numMatchUsb;               ///< number of selected entries
};

struct QVvisa_devIntfListAsrl_t {
  int numDevIntfAsrl;
  QVvisa_devIntfAsrl_t* intfAsrl;  ///< owned
  int numMatchAsrl;                ///< number of selected entries
};

/// A number that the attribute part of an expression may compare, under the code of its attribute.
struct QVvisa_resourceNumber_t {
  ViAttr name;
  int value;
};

constexpr int QVVISA_MAX_RESOURCE_NUMBERS = 6;

/// A resource of any other bus.
struct QVvisa_resource_t {
  char name[VI_FIND_BUFLEN];                                     ///< as the bus's parser takes it, NUL-terminated
  QVvisa_resourceNumber_t numbers[QVVISA_MAX_RESOURCE_NUMBERS];  ///< up to the first whose name is 0
  int matchRE;
  int matchAE;
  int matchX;
};

struct QVvisa_resourceList_t {
  int numResources;
  QVvisa_resource_t* resources;  ///< owned
  int numMatch;                  ///< number of selected entries
};

/// The lists of a search; a list stays null while it has no entries.
struct QVvisa_devList_t {
  QVvisa_devIntfListUsb_t* usbList;
  QVvisa_devIntfListAsrl_t* asrlList;
  QVvisa_resourceList_t* otherList = nullptr;
};

/// Grows a list by `size` entries, making it first if `*ppdilUsb` is null. Old entries keep their contents, new ones
/// are zeroed.
/// @retval VI_SUCCESS             grown
/// @retval VI_ERROR_INV_PARAMETER null `ppdilUsb`, or `size` below 1
/// @retval VI_ERROR_ALLOC         no memory; the whole list is freed and `*ppdilUsb` null
QVVISA_API ViStatus QVvisa_reInitDevIntfListUsb(QVvisa_devIntfListUsb_t** ppdilUsb, int size);
/// Frees a list and nulls the pointer; does nothing for null.
QVVISA_API void QVvisa_closeDevIntfListElemUsb(QVvisa_devIntfListUsb_t** ppdilUsb);

/// As QVvisa_reInitDevIntfListUsb; a new entry has `comPort` -1, `baudRate` QVVISA_DEFAULT_BAUD_RATE and the rest 0.
QVVISA_API ViStatus QVvisa_reInitDevIntfListAsrl(QVvisa_devIntfListAsrl_t** ppdilAsrl, int size);
/// Frees a list and nulls the pointer; does nothing for null.
QVVISA_API void QVvisa_closeDevIntfListElemAsrl(QVvisa_devIntfListAsrl_t** ppdilAsrl);
}

/// Adds a resource of a bus that has no list of its own to what a search sees.
/// @retval VI_SUCCESS, VI_ERROR_ALLOC with all resources added so far gone
ViStatus QVvisa_addResource(QVvisa_devList_t* found, const QVvisa_resource_t& resource);
/// Frees the list and nulls the pointer; does nothing for null.
void QVvisa_closeResourceList(QVvisa_resourceList_t** list);
