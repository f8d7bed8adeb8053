#include "helper.h"

#include "portsClass.h"

#include <algorithm>
#include <cerrno>
#include <cinttypes>
#include <climits>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <span>

const GUID RS232GUID = PORTS_CLASS;
const char rs232GuidStr[GUID_STR_SIZE] = PORTS_CLASS_TEXT;

const setupDiDevProps_t devProps[7] = {
    {SPDRP_HARDWAREID, "HardwareID (R/W)                "},
    {SPDRP_SERVICE, "Service (R/W)                   "},
    {SPDRP_DRIVER, "Driver (R/W)                    "},
    {SPDRP_MFG, "Mfg (R/W)                       "},
    {SPDRP_PHYSICAL_DEVICE_OBJECT_NAME, "PhysicalDeviceObjectName (R)    "},
    {SPDRP_FRIENDLYNAME, "Friendly Name                   "},
    {SPDRP_MAXIMUM_PROPERTY, nullptr},
};

bool qvh_ReadDecimal(const char* text, int& number) {
  char* end = nullptr;
  errno = 0;
  const long value = std::strtol(text, &end, 10);
  if (end == text || errno == ERANGE || value < INT_MIN || value > INT_MAX) return false;
  number = static_cast<int>(value);
  return true;
}

int qvh_GetComPortFromFriendlyName(const char* name, char* truncName) {
  constexpr char mark[] = "(COM";
  const char* port = std::strstr(name, mark);
  int number = -1;
  if (!port || !qvh_ReadDecimal(port + std::strlen(mark), number)) return -1;

  auto length = static_cast<size_t>(port - name);
  // The first character stays even if it is a blank.
  while (length > 1 && name[length - 1] == ' ') --length;
  std::memmove(truncName, name, length);
  truncName[length] = '\0';
  return number;
}

int qvh_ConvHexToByte(unsigned char hChar, unsigned char* pByte) {
  if (!pByte) return QVH_ERR_INVAL_PARAM2;
  int value = 0;
  if (hChar >= '0' && hChar <= '9') {
    value = hChar - '0';
  } else if (hChar >= 'a' && hChar <= 'f') {
    value = hChar - 'a' + 10;
  } else if (hChar >= 'A' && hChar <= 'F') {
    value = hChar - 'A' + 10;
  } else {
    return QVH_ERR_INVAL_PARAM1;
  }
  *pByte = static_cast<unsigned char>(value);
  return QVH_SUCCESS;
}

int qvh_GenerateGuidFromGuidstring(GUID* pgenGUID, const unsigned char* guidString) {
  constexpr unsigned char form[] = "{........-....-....-....-............}";
  constexpr size_t length = sizeof(form) - 1;
  if (!pgenGUID) return QVH_ERR_INVAL_PARAM1;
  if (!guidString) return QVH_ERR_INVAL_PARAM2;
  for (size_t i = 0; i < length; ++i) {
    if (guidString[i] == '\0' || (form[i] != '.' && guidString[i] != form[i])) return QVH_ERR_INVAL_PARAM2;
  }

  unsigned char bytes[16] = {};
  size_t digits = 0;
  for (size_t i = 0; i < length; ++i) {
    if (form[i] != '.') continue;
    unsigned char digit = 0;
    if (const int status = qvh_ConvHexToByte(guidString[i], &digit); status != QVH_SUCCESS) return status;
    unsigned char& pair = bytes[digits++ / 2];
    pair = static_cast<unsigned char>(pair << 4 | digit);
  }

  const auto bigEndian = [&bytes](size_t first, size_t count) {
    uint32_t value = 0;
    for (size_t i = first; i < first + count; ++i) value = value << 8 | bytes[i];
    return value;
  };
  pgenGUID->Data1 = bigEndian(0, 4);
  pgenGUID->Data2 = static_cast<uint16_t>(bigEndian(4, 2));
  pgenGUID->Data3 = static_cast<uint16_t>(bigEndian(6, 2));
  std::memcpy(pgenGUID->Data4, &bytes[8], sizeof(pgenGUID->Data4));
  return QVH_SUCCESS;
}

char* qvh_printBaudrate(const DCB* dcb) {
  static char text[64];
  std::snprintf(text, sizeof(text), "%d", static_cast<int>(dcb->BaudRate));
  return text;
}

char* qvh_printParity(const DCB* dcb) {
  static char text[64];
  std::snprintf(text, sizeof(text), "%s", dcb->fParity ? "enabled" : "disabled");
  return text;
}

char* qvh_PrintRegMultiSz(const char* delim, const void* multiSz, unsigned int len) {
  static char text[REGMULTISZ_MAXBUF];
  constexpr size_t room = sizeof(text) - 1;
  const char* in = static_cast<const char*>(multiSz);
  const char* const end = in + len;
  size_t used = 0;
  while (in < end && *in && used < room) {
    while (in < end && *in && used < room) text[used++] = *in++;
    if (in < end) ++in;
    if (in == end || !*in) break;
    for (const char* d = delim; *d && used < room; ++d) text[used++] = *d;
  }
  text[used] = '\0';
  return text;
}

namespace {

/// The first bytes of a property as a number of the machine's byte order.
template <typename Number>
Number numberOf(const char* property) {
  Number number = 0;
  std::memcpy(&number, property, sizeof(number));
  return number;
}

struct RegistryType {
  DWORD type;
  const char* name;
};

/// Printed with their text behind the name.
constexpr RegistryType kTexts[] = {
    {REG_SZ, "REG_SZ"},
    {REG_EXPAND_SZ, "REG_EXPAND_SZ"},
    {REG_LINK, "REG_LINK"},
};

/// Printed by their name alone.
constexpr RegistryType kNames[] = {
    {REG_NONE, "REG_NONE"},
    {REG_BINARY, "REG_BINARY"},
    {REG_RESOURCE_LIST, "REG_RESOURCE_LIST"},
    {REG_FULL_RESOURCE_DESCRIPTOR, "REG_FULL_RESOURCE_DESCRIPTOR"},
    {REG_RESOURCE_REQUIREMENTS_LIST, "REG_RESOURCE_REQUIREMENTS_LIST"},
};

/// The name of a type in a table, or null.
const char* nameIn(std::span<const RegistryType> table, DWORD type) {
  const auto row = std::ranges::find(table, type, &RegistryType::type);
  return row == table.end() ? nullptr : row->name;
}

void printValue(DWORD type, const char* property, DWORD size) {
  if (const char* name = nameIn(kTexts, type)) {
    std::printf("%s: %s\n", name, property);
  } else if (type == REG_DWORD || type == REG_DWORD_BIG_ENDIAN) {
    std::printf("REG_DWORD 0x%08" PRIX32 "\n", numberOf<uint32_t>(property));
  } else if (type == REG_QWORD) {
    // In decimal, between the marks of a hexadecimal number.
    std::printf("REG_QWORD 0x%" PRIu64 "X\n", numberOf<uint64_t>(property));
  } else if (type == REG_MULTI_SZ) {
    std::printf("REG_MULTI_SZ: %s\n", qvh_PrintRegMultiSz("\n--->", property, static_cast<unsigned int>(size)));
  } else {
    const char* const plain = nameIn(kNames, type);
    std::printf("%s\n", plain ? plain : "unknown data type");
  }
}

}  // namespace

void qvh_SetupDiGetDevProperties(HDEVINFO DeviceInfoSet, SP_DEVINFO_DATA* pDeviceData) {
  std::printf("\n");
  for (const setupDiDevProps_t* row = devProps; row->descr; ++row) {
    // One byte more than the database may fill, so that a value without a NUL ends all the same.
    char property[PROPBUF_SIZE + 1] = {};
    DWORD type = 0;
    DWORD size = 0;
    if (!SetupDiGetDeviceRegistryPropertyA(DeviceInfoSet, pDeviceData, row->prop, &type,
                                           reinterpret_cast<BYTE*>(property), PROPBUF_SIZE, &size)) {
      std::printf("%s cannot be read out!\n", row->descr);
      continue;
    }
    std::printf("%s %2d B.", row->descr, static_cast<int>(size));
    printValue(type, property, size);
  }
}
