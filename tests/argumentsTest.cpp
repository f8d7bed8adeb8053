/// What the exported operations answer to a null pointer or a number out of range. They do so before anything else.
#include "QVlibserial.h"
#include "QVvisaAsrl.h"
#include "QVvisaAsrlAttributes.h"
#include "QVvisaAsrlTransfer.h"
#include "QVvisaFind.h"
#include "QVvisaLifetime.h"
#include "QVvisaPrivate.h"
#include "QVvisaTCPIP.h"
#include "QVvisaTokens.h"
#include "QVvisaUSB.h"
#include "helper.h"
#include "qvls_helper.h"
#include "support/testing.h"

#include <initializer_list>
#include <source_location>

namespace {

/// Expects each call of a list to have given `expected`.
void expectAll(long expected, std::initializer_list<long> results,
               const std::source_location& where = std::source_location::current()) {
  for (const long& result : results) {
    EXPECT_EQ(result, expected) << "call " << &result - results.begin() << " in line " << where.line();
  }
}

TEST(Arguments, OfTheSerialLibrary) {
  int number = 77;
  char text[256];
  qvlsPort_t node = {};
  qvlsPortList_t list = {};
  qvlsPort_t* port = &node;
  qvlsTblPortSrchCrit_t* table = nullptr;
  expectAll(QVLS_ERR_INVAL_PARAM1,
            {qvls_GetListOfSerialPorts(nullptr, nullptr), qvls_GetNumFoundPorts(nullptr, &number),
             qvls_GetPort(nullptr, 0, &port), qvls_GetPortComPort(nullptr, &number, &number),
             qvls_DevNodeInstancdId(nullptr, nullptr, text), qvls_GetPortService(nullptr, text),
             qvls_GetPortFriendlyName(nullptr, text), qvls_GetPortPhysDevName(nullptr, text),
             qvls_GetPortManufName(nullptr, text), qvls_GetVid(nullptr, &number), qvls_GetPid(nullptr, &number)});
  expectAll(QVLS_ERR_INVAL_PARAM1,
            {qvls_InitTblDevSrchCrit(nullptr, 1), qvls_SetDevSrchCrit(nullptr, 0, 1, nullptr, nullptr, nullptr),
             qvls_GetDevSrchCrit(nullptr, 0, nullptr, nullptr, nullptr), qvls_SetPortPresentSrchCrit(nullptr, 0),
             qvls_GetPortPresentSrchCrit(nullptr, &number), qvls_CloseTblPortSrchCrit(nullptr)});
  expectAll(QVLS_ERR_INVAL_PARAM1, {qvls_OpenPort(nullptr, 3), qvls_ClosePort(nullptr),
                                    qvls_GetPortOpenState(nullptr, &number), qvls_InitListOfSerialPorts(nullptr),
                                    qvls_CloseListOfSerialPorts(nullptr), qvls_DisposeListOfSerialPorts(nullptr),
                                    qvls_InitSerialPortNode(nullptr), qvls_AddSerialPortNodeToRing(nullptr, &node)});
  ASSERT_EQ(qvls_InitTblDevSrchCrit(&table, 2), QVLS_SUCCESS);
  qvlsTblPortSrchCrit_t* other = table;
  const auto set = [&](int row, int comPort) {
    return qvls_SetDevSrchCrit(table, row, comPort, nullptr, nullptr, nullptr);
  };
  const auto get = [&](int row) { return qvls_GetDevSrchCrit(table, row, nullptr, nullptr, nullptr); };
  expectAll(QVLS_ERR_INVAL_PARAM2,
            {qvls_GetNumFoundPorts(&list, nullptr), qvls_GetPort(&list, -1, nullptr), qvls_GetVid(&node, nullptr),
             qvls_GetPid(&node, nullptr), qvls_InitTblDevSrchCrit(&other, -1), set(-1, -1), set(2, -1), get(-1), get(2),
             qvls_SetPortPresentSrchCrit(table, 2), qvls_SetPortPresentSrchCrit(table, -2),
             qvls_GetPortPresentSrchCrit(table, nullptr), qvls_OpenPort(&port, 0), qvls_OpenPort(&port, 1001),
             qvls_GetPortOpenState(&node, nullptr), qvls_AddSerialPortNodeToRing(&list, nullptr)});
  expectAll(QVLS_ERR_INVAL_PARAM3, {qvls_GetPort(&list, 4, nullptr), set(1, -1)});
  expectAll(QVLS_SUCCESS, {get(1), qvls_GetPortComPort(&node, nullptr, nullptr), qvls_GetPortService(&node, nullptr),
                           qvls_CloseTblPortSrchCrit(&table), qvls_CloseTblPortSrchCrit(&table)});
  GUID guid = {};
  unsigned char byte = 0;
  const auto* form = reinterpret_cast<const unsigned char*>(rs232GuidStr);
  expectAll(QVH_ERR_INVAL_PARAM1, {qvh_GenerateGuidFromGuidstring(nullptr, form), qvh_ConvHexToByte('g', &byte)});
  expectAll(QVH_ERR_INVAL_PARAM2, {qvh_GenerateGuidFromGuidstring(&guid, nullptr), qvh_ConvHexToByte('1', nullptr)});
  EXPECT_EQ(number, 77);
  EXPECT_EQ(port, &node);
}

TEST(Arguments, OfSessions) {
  char name[] = "COM3::INSTR", usbName[] = "USB0::1::2::", lanName[] = "TCPIP0::host";
  ViByte byte = 0;
  QVvisa_asrl_device_t asrl = {};
  QVvisa_tcpip_device_t tcpip = {};
  QVvisa_usb_device_t usb = {};
  QVvisa_device_t device = {};
  qvlsPort_t port = {};
  PVOID status = nullptr;
  ViSession vi = 0x55;
  expectAll(VI_ERROR_INV_PARAMETER,
            {QVvisa_initAsrlDevListElem(nullptr), QVvisa_initTCPIPDevListElem(nullptr),
             QVvisa_initUsbDevListElem(nullptr), QVvisa_initDevListElem(nullptr), QVvisa_initFindListElem(nullptr),
             QVvisa_initWork(nullptr), QVvisa_OpenHelperParseName(nullptr, &device),
             QVvisa_OpenHelperParseName(name, nullptr), QVvisa_OpenHelperParseNameAsrl(nullptr, &asrl),
             QVvisa_OpenHelperParseNameAsrl(name, nullptr), QVvisa_OpenHelperParseNameTCPIP(nullptr, &tcpip),
             QVvisa_OpenHelperParseNameTCPIP(lanName, nullptr), QVvisa_OpenHelperParseNameTCPIP_Socket(nullptr, &tcpip),
             QVvisa_OpenHelperParseNameTCPIP_Socket("1", nullptr), QVvisa_OpenHelperParseNameUsb(nullptr, &usb)});
  expectAll(VI_ERROR_INV_OBJECT,
            {QVvisa_OpenHelperParseNameUsb(usbName, nullptr), QVvisa_OpenHelperFindOpenDevAsrl(nullptr),
             QVvisa_OpenHelperFindOpenDevTCPIP(nullptr), QVvisa_OpenHelperFindOpenDevUsb(nullptr),
             QVvisa_OpenHelperTestOneAsrlDev(nullptr, &port), QVvisa_OpenHelperTestOneAsrlDev(&asrl, nullptr),
             QV_viOpenHelperTestOneUsbDev(nullptr, nullptr), QV_viOpenHelperTestOneUsbDev(&usb, nullptr),
             QVvisa_OpenHelperOpenDevClaimIntf(nullptr, nullptr, 0), QVvisa_AddHandleDevice(nullptr, &vi),
             QVvisa_AddHandleFindList(nullptr, &vi), QVvisa_OpenHelperFindOpenDev(nullptr),
             QVvisa_GetTypeIdxOfSession(0, nullptr, nullptr, nullptr)});
  expectAll(VI_ERROR_NSUP_ATTR, {QVvisa_GetAttributeFromDevice(&device, VI_ATTR_TERMCHAR, &byte),
                                 QVvisa_SetAttributeToDevice(&device, VI_ATTR_TERMCHAR, 0)});
  EXPECT_EQ(QVvisa_GetAttributeFromDevice(&device, VI_ATTR_TERMCHAR, nullptr), VI_SUCCESS);
  expectAll(VI_ERROR_INV_OBJECT,
            {QVvisa_AsrlRead(nullptr, &byte, 1, nullptr), QVvisa_AsrlRead(&asrl, nullptr, 1, nullptr),
             QVvisa_AsrlWrite(nullptr, &byte, 1, nullptr), QVvisa_AsrlWrite(&asrl, nullptr, 1, nullptr),
             QVvisa_AsrlGetAttribute(nullptr, VI_ATTR_TERMCHAR, &byte),
             QVvisa_AsrlGetAttribute(&asrl, VI_ATTR_TERMCHAR, nullptr),
             QVvisa_AsrlSetAttribute(nullptr, VI_ATTR_TERMCHAR, 0), QVvisa_TCPIP_Read(nullptr, &byte, 1, nullptr),
             QVvisa_TCPIP_Read(&tcpip, nullptr, 1, nullptr), QVvisa_TCPIP_Write(nullptr, &byte, 1, nullptr),
             QVvisa_TCPIP_Write(&tcpip, nullptr, 1, nullptr),
             QVvisa_TCPIP_GetAttribute(nullptr, VI_ATTR_TERMCHAR, &byte),
             QVvisa_TCPIP_SetAttribute(nullptr, VI_ATTR_TERMCHAR, 0),
             QVvisa_UsbGetAttribute(nullptr, VI_ATTR_TERMCHAR, &byte),
             QVvisa_UsbGetAttribute(&device, VI_ATTR_TERMCHAR, &byte)});
  expectAll(FALSE, {QVvisa_initLibrary(&g_InitOnce, nullptr, &status),
                    QVvisa_initLibrary(&g_InitOnce, &gQVvisaInit, nullptr)});
  QVvisa_closeAsrlDevListElem(nullptr);
  QVvisa_closeTCPIPDevListElem(nullptr);
  QVvisa_closeUsbDevListElem(nullptr);
  QVvisa_closeDevListElem(nullptr);
  QVvisa_closeFindListElem(nullptr);
  QVvisa_closeLibUsbDev(nullptr, 0);
  EXPECT_EQ(vi, 0x55U);
  EXPECT_EQ(byte, 0);
}

TEST(Arguments, OfSearches) {
  char expression[] = "5";
  uint8_t result = 0;
  QVvisa_devList_t noEntries = {};
  QVvisa_findResrcPatA_t parts = {};
  QVvisa_findListHelper_result_t found = {};
  QVvisa_frTokenList_t* tokens = nullptr;
  QVvisa_frToken_t* token = nullptr;
  QVvisa_usbDev_t* devices = nullptr;
  QVvisa_devIntfListUsb_t* usbList = nullptr;
  QVvisa_devIntfListAsrl_t* asrlList = nullptr;
  QVvisa_findListUsb_result_t** array = nullptr;
  expectAll(VI_ERROR_INV_PARAMETER,
            {QVvisa_GetAllDevIntfUsb(nullptr), QVvisa_initUsbDevList(nullptr, 1), QVvisa_initUsbDevList(&devices, 0),
             QVvisa_initFrTokenList(nullptr, 1), QVvisa_initFrTokenList(&tokens, 0),
             QVvisa_initFindResultListArrAsrl(nullptr, 1), QVvisa_initFindResultListArrUsb(&array, -1),
             QVvisa_reInitDevIntfListUsb(nullptr, 1), QVvisa_reInitDevIntfListUsb(&usbList, 0),
             QVvisa_reInitDevIntfListAsrl(nullptr, 1), QVvisa_reInitDevIntfListAsrl(&asrlList, -1)});
  expectAll(VI_ERROR_INV_OBJECT,
            {QVvisa_GetAllDevIntfAsrl(nullptr), QVvisa_GetAllDevIntf(nullptr),
             QVvisa_helperProcessPattern_A(nullptr, expression), QVvisa_helperProcessPattern_A(&parts, nullptr),
             QVvisa_helperProcessPattern_REGEX(expression, 1, nullptr),
             QVvisa_helperGenerateViRsrcFind(nullptr, &found, nullptr, nullptr, nullptr),
             QVvisa_helperGenerateViRsrcFind(&noEntries, nullptr, nullptr, nullptr, nullptr),
             QVvisa_helperGenerateFindListUsb(nullptr, nullptr), QVvisa_helperProcessPattern_BC(expression, 1, nullptr),
             QVvisa_helperProcessPattern_B(expression, 1, nullptr)});
  EXPECT_EQ(QVvisa_helperProcessPattern_REGEX(nullptr, 1, &noEntries), VI_ERROR_RSRC_NFOUND);
  EXPECT_EQ(QVvisa_helperProcessPattern_BC(nullptr, 5, &noEntries), VI_SUCCESS);
  ASSERT_EQ(QVvisa_initFrTokenList(&tokens, 3), VI_SUCCESS);
  expectAll(VI_SUCCESS, {findPrevNextToken(tokens, 1, &token, &token), findNextToken(tokens, 1, &token)});
  expectAll(VI_ERROR_INV_OBJECT,
            {processTokens(nullptr, 0, 0, &result), processTokens(tokens, 0, 0, nullptr),
             tokOperator(nullptr, token, token), tokOperator(token, nullptr, token), tokOperator(token, token, nullptr),
             tokExpOper(nullptr, token, token), tokExpOper(token, nullptr, token), tokExpOper(token, token, nullptr),
             tokNotOper(nullptr, token), tokNotOper(token, nullptr), findPrevNextToken(nullptr, 1, &token, &token),
             findPrevNextToken(tokens, 1, nullptr, &token), findPrevNextToken(tokens, 1, &token, nullptr),
             findNextToken(nullptr, 0, &token), findNextToken(tokens, 0, nullptr)});
  expectAll(VI_ERROR_INV_EXPR,
            {findPrevNextToken(tokens, 0, &token, &token), findPrevNextToken(tokens, 2, &token, &token),
             findNextToken(tokens, -1, &token), findNextToken(tokens, 2, &token)});
  initTokens(nullptr);
  for (int i : {0, 2}) tokens->tokens[i].processed = TOK_PROC_STEP1;
  expectAll(VI_ERROR_INV_EXPR, {findNextToken(tokens, 1, &token), findPrevNextToken(tokens, 1, &token, &token)});
  QVvisa_closeFrTokenList(&tokens);
  QVvisa_closeUsbDevList(&devices, 1);
  QVvisa_closeDevIntfListElemUsb(nullptr);
  QVvisa_closeDevIntfListElemAsrl(&asrlList);
  QVvisa_helperProcessPattern_Aclose(nullptr);
  // No text, no print.
  char text[VI_FIND_BUFLEN] = "before";
  QVvisa_FindRsrcHelperPrintRootAsrl(3, nullptr);
  QVvisa_FindRsrcHelperPrintPuiUsb(nullptr, text);
  QVvisa_FindRsrcHelperPrintPuiAsrl(nullptr, text);
  QVvisa_FindRsrcHelperPrintPflrUsb(nullptr, text);
  QVvisa_FindRsrcHelperPrintPflrAsrl(nullptr, text);
  EXPECT_STREQ(text, "before");
}

}  // namespace
