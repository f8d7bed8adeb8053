/*
 * A program of the standard's names alone, as people write them: it finds and opens the simulated instrument on every
 * bus and exits with 0 if all is as VPP-4.3 says.
 */
#include <QVvisa_std.h>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static int failures = 0;

static void check(int isTrue, const char* what, int line) {
  if (isTrue) return;
  fprintf(stderr, "line %d: %s\n", line, what);
  ++failures;
}

#define CHECK(condition) check(condition, #condition, __LINE__)

static ViStatus query(ViSession vi, const char* text, char* answer, ViUInt32 size) {
  ViUInt32 count = 0;
  ViStatus status = viWrite(vi, (ViConstBuf)text, (ViUInt32)strlen(text), &count);
  if (status < VI_SUCCESS) return status;
  status = viRead(vi, (ViPBuf)answer, size - 1, &count);
  answer[count] = '\0';
  return status;
}

/* The block holds the termination character. */
static void useFormattedIo(ViSession vi) {
  ViReal64 volts = 0;
  ViInt32 done = 0;
  ViUInt32 count = 300;
  ViByte block[300];
  int i;

  CHECK(viQueryf(vi, "VOLT %.2f;VOLT?\n", "%lf", 1.25, &volts) == VI_SUCCESS && volts == 1.25);
  CHECK(viPrintf(vi, "*OPC?;DATA:BLOC? %d\n", 300) == VI_SUCCESS);
  CHECK(viScanf(vi, "%d;%#b\n", &done, &count, block) == VI_SUCCESS && done == 1 && count == 300);
  for (i = 0; i < 300; ++i) CHECK(block[i] == i % 256);
  CHECK(viFlush(vi, VI_READ_BUF) == VI_SUCCESS);
}

static void useInstrument(ViSession rm, const char* name, ViUInt16 type, const char* resourceClass) {
  char answer[100];
  char text[256];
  ViUInt16 intfType = 0;
  ViUInt16 statusByte = 0;
  ViSession vi = VI_NULL;

  fprintf(stderr, "%s\n", name);
  CHECK(viOpen(rm, name, VI_NO_LOCK, VI_TMO_IMMEDIATE, &vi) == VI_SUCCESS);
  CHECK(viSetAttribute(vi, VI_ATTR_TMO_VALUE, 10000) == VI_SUCCESS);
  CHECK(viSetAttribute(vi, VI_ATTR_TERMCHAR_EN, VI_TRUE) == VI_SUCCESS);
  CHECK(viGetAttribute(vi, VI_ATTR_INTF_TYPE, &intfType) == VI_SUCCESS && intfType == type);
  CHECK(viGetAttribute(vi, VI_ATTR_RSRC_CLASS, text) == VI_SUCCESS && strcmp(text, resourceClass) == 0);
  CHECK(viClear(vi) == VI_SUCCESS);
  CHECK(query(vi, "*IDN?\n", answer, sizeof answer) >= VI_SUCCESS);
  CHECK(strcmp(answer, "KESTRIX,SIM-1,A1234,1.0\n") == 0);
  useFormattedIo(vi);
  if (type != VI_INTF_USB) CHECK(viSetAttribute(vi, VI_ATTR_IO_PROT, VI_PROT_4882_STRS) == VI_SUCCESS);
  CHECK(query(vi, "*CLS\n*ESE 0\nVOLT?\n", answer, sizeof answer) >= VI_SUCCESS);
  CHECK(viReadSTB(vi, &statusByte) == VI_SUCCESS && statusByte == 0);
  CHECK(viClose(vi) == VI_SUCCESS);
  CHECK(viClose(vi) == VI_ERROR_INV_OBJECT);
}

static void find(ViSession rm, const char* expression, ViUInt32 expected) {
  char name[VI_FIND_BUFLEN];
  ViFindList list = VI_NULL;
  ViUInt32 count = 0;
  ViUInt32 found = 1;

  CHECK(viFindRsrc(rm, expression, &list, &count, name) == VI_SUCCESS && count == expected);
  while (viFindNext(list, name) == VI_SUCCESS) ++found;
  CHECK(found == expected);
  CHECK(viClose(list) == VI_SUCCESS);
}

int main(void) {
  ViSession rm = VI_NULL;

  CHECK(viOpenDefaultRM(&rm) == VI_SUCCESS);
  find(rm, "?*INSTR", 2);
  find(rm, "usb?*::instr", 1);
  useInstrument(rm, getenv("QVVISA_SIM_USB"), VI_INTF_USB, "INSTR");
  useInstrument(rm, getenv("QVVISA_SIM_SERIAL"), VI_INTF_ASRL, "INSTR");
  useInstrument(rm, getenv("QVVISA_SIM_TCP"), VI_INTF_TCPIP, "SOCKET");
  CHECK(viClose(rm) == VI_SUCCESS);
  return failures == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
