/* Asks an instrument who it is. Argument: its resource name. */
#include <QVvisa.h>
#include <stdio.h>

/* Only VI_SUCCESS says that an operation did its work; a positive status doesn't. */
static int failed(const char* action, ViStatus status) {
  ViChar text[MAX_STATUS_DESCRIPTION];
  if (status == VI_SUCCESS) return 0;
  QV_viStatusDesc(0, status, text);
  fprintf(stderr, "%s: status 0x%08X: %s\n", action, (unsigned)status, text);
  return 1;
}

static int identify(ViSession instrument) {
  ViByte query[] = "*IDN?\n", answer[1024];
  ViUInt32 count = 0;
  if (failed("setting the time limit", QV_viSetAttribute(instrument, VI_ATTR_TMO_VALUE, 2000)) ||
      failed("writing", QV_viWrite(instrument, query, sizeof query - 1, &count)) ||
      failed("reading", QV_viRead(instrument, answer, sizeof answer, &count)))
    return 1;
  printf("%.*s", (int)count, (const char*)answer);
  return count == 0; /* a TCP connection that was closed */
}

int main(int argc, char** argv) {
  char name[] = "TCPIP0::127.0.0.1::5025::SOCKET";
  char* resource = argc > 1 ? argv[1] : name;
  ViSession manager = 0, instrument = 0;
  int result = 1;
  if (failed("starting the library", QV_viOpenDefaultRM(&manager))) return 1;
  if (!failed(resource, QV_viOpen(manager, resource, VI_NO_LOCK, 0, &instrument))) {
    result = identify(instrument);
    QV_viClose(instrument);
  }
  QV_viClose(manager);
  return result;
}
