// Handles, the table of sessions and find lists, and the pins that keep a record whole while it is used.

#include "QVvisaLock.h"
#include "QVvisaMemory.h"
#include "QVvisaPrivate.h"
#include "support/startLibrary.h"
#include "support/testing.h"

namespace {

class Registry : public testing::Test {
protected:
  void SetUp() override { ASSERT_NE(start(), 0U); }
  void TearDown() override { QVvisa_closeLibrary(); }

  /// Makes and registers a record; gives its handle.
  template <typename Record>
  static ViSession add(ViStatus (*make)(Record**), ViStatus (*enter)(Record**, ViSession*), ViStatus expected) {
    const CoreLock lock;
    Record* record = nullptr;
    ViSession vi = 0;
    EXPECT_EQ(make(&record), VI_SUCCESS);
    EXPECT_EQ(enter(&record, &vi), expected);
    return vi;
  }
  static ViSession addDevice(ViStatus expected = VI_SUCCESS) {
    return add(QVvisa_initDevListElem, QVvisa_AddHandleDevice, expected);
  }
  static ViSession addFindList(ViStatus expected = VI_SUCCESS) {
    return add(QVvisa_initFindListElem, QVvisa_AddHandleFindList, expected);
  }
};

TEST_F(Registry, HandlesFollowOneSequenceThatTurnsAroundOneHigherAndSkipsValuesInUse) {
  constexpr ViUInt32 kTurn = 611119;
  const ViSession first = addDevice();
  EXPECT_EQ((first - 0x1017) % 0xABC, 0U) << "the sequence begins at 0x1017";
  EXPECT_EQ(addFindList(), first + 0xABC);
  ViUInt32 last = addDevice();
  EXPECT_EQ(last, first + 2 * 0xABC);

  // What comes next is taken by hand, as if the sequence had come around to it.
  gpQvvisa->device[0]->visaID = last + 0xABC;
  EXPECT_EQ(QVvisa_GetNextSessionID(), last + 2 * 0xABC);
  gpQvvisa->device[0]->visaID = first;

  for (ViUInt32 i = (last - 0x1017) / 0xABC + 3; i < kTurn; ++i) last = QVvisa_GetNextSessionID();
  EXPECT_EQ(last, 0x6418F1DFU);
  EXPECT_EQ(QVvisa_GetNextSessionID(), 0x1018U);
  EXPECT_EQ(QVvisa_GetNextSessionID(), 0x1AD4U);
}

TEST_F(Registry, ClassifiesHandles) {
  const ViSession session = addDevice(), list = addFindList();
  QVvisa_device_t* device = nullptr;
  QVvisa_findList_t* findList = nullptr;
  const struct {
    ViSession vi;
    int type;
    ViStatus status, asDevice, asFindList;
  } cases[] = {
      {session, QVVISA_HANDLE_TYPE_DEVICE, VI_SUCCESS, VI_SUCCESS, VI_ERROR_INV_OBJECT},
      {list, QVVISA_HANDLE_TYPE_FINDLIST, VI_SUCCESS, VI_ERROR_INV_OBJECT, VI_SUCCESS},
      {0x64190511, QVVISA_HANDLE_TYPE_RM, VI_SUCCESS, VI_ERROR_INV_OBJECT, VI_ERROR_INV_OBJECT},
      {0, QVVISA_HANDLE_TYPE_UNKNOWN, VI_ERROR_INV_OBJECT, VI_ERROR_INV_OBJECT, VI_ERROR_INV_OBJECT},
      {0x64190512, QVVISA_HANDLE_TYPE_UNKNOWN, VI_ERROR_INV_OBJECT, VI_ERROR_INV_OBJECT, VI_ERROR_INV_OBJECT},
  };
  int type = -1;
  for (const auto& c : cases) {
    EXPECT_EQ(QVvisa_GetTypeIdxOfSession(c.vi, &type, nullptr, nullptr), c.status) << c.vi;
    EXPECT_EQ(type, c.type) << c.vi;
    EXPECT_EQ(QVvisa_LookupHandleDevice(c.vi, &device), c.asDevice) << c.vi;
    EXPECT_EQ(QVvisa_LookupHandleFindList(c.vi, &findList), c.asFindList) << c.vi;
  }
  EXPECT_EQ(device, gpQvvisa->device[0]);
  EXPECT_EQ(findList, gpQvvisa->findList[0]);
  EXPECT_EQ(QVvisa_LookupHandleDevice(session, nullptr), VI_ERROR_INV_OBJECT);
  void* object = nullptr;
  void* slot = nullptr;
  ASSERT_EQ(QVvisa_GetTypeIdxOfSession(list, &type, &object, &slot), VI_SUCCESS);
  EXPECT_EQ(object, findList);
  EXPECT_EQ(slot, &gpQvvisa->findList[0]);
}

TEST_F(Registry, FullTablesRefuseAndALostHandleIsUnknownAlsoWhenItsSlotHasANewOccupant) {
  for (int i = 0; i < QVVISA_MAX_DEVICES; ++i) addDevice();
  for (int i = 0; i < QVVISA_MAX_FINDLISTS; ++i) addFindList();
  addDevice(VI_ERROR_ALLOC);
  addFindList(VI_ERROR_ALLOC);
  EXPECT_EQ(gpQvvisa->numDevs, QVVISA_MAX_DEVICES);
  EXPECT_EQ(gpQvvisa->numFindLists, QVVISA_MAX_FINDLISTS);

  const ViSession stale = gpQvvisa->device[5]->visaID;
  ASSERT_EQ(QV_viClose(stale), VI_SUCCESS);
  EXPECT_EQ(gpQvvisa->device[5], nullptr);
  const ViSession fresh = addDevice();
  EXPECT_EQ(gpQvvisa->device[5]->visaID, fresh);
  QVvisa_device_t* device = nullptr;
  EXPECT_EQ(QVvisa_LookupHandleDevice(stale, &device), VI_ERROR_INV_OBJECT);
  EXPECT_EQ(QVvisa_LookupHandleDevice(fresh, &device), VI_SUCCESS);
  EXPECT_EQ(device, gpQvvisa->device[5]);
}

TEST_F(Registry, AFailedRegistrationClosesTheRecord) {
  QVvisa_device_t* device = nullptr;
  ASSERT_EQ(QVvisa_initDevListElem(&device), VI_SUCCESS);
  EXPECT_EQ(QVvisa_AddHandleDevice(&device, nullptr), VI_ERROR_INV_OBJECT);
  EXPECT_EQ(device, nullptr);
  ViSession vi = 0x55;
  EXPECT_EQ(QVvisa_AddHandleDevice(&device, &vi), VI_ERROR_INV_OBJECT);
  EXPECT_EQ(QVvisa_AddHandleDevice(nullptr, &vi), VI_ERROR_INV_OBJECT);
  EXPECT_EQ(vi, 0x55U);
  EXPECT_EQ(gpQvvisa->numDevs, 0);
}

TEST_F(Registry, APinnedRecordOutlivesItsCloseAndKeepsTheLibraryUp) {
  const ViSession vi = addDevice();
  QVvisa_device_t *first = nullptr, *second = nullptr, *late = nullptr;
  ASSERT_EQ(QVvisa_pinDevice(vi, &first), VI_SUCCESS);
  ASSERT_EQ(QVvisa_pinDevice(vi, &second), VI_SUCCESS);
  ASSERT_EQ(QV_viClose(vi), VI_SUCCESS);

  EXPECT_EQ(QVvisa_pinDevice(vi, &late), VI_ERROR_INV_OBJECT);
  QVvisa_unpinDevice(first);
  EXPECT_EQ(second->visaID, vi);
  EXPECT_TRUE(QVvisa_isUp());
  QVvisa_unpinDevice(second);
  EXPECT_FALSE(QVvisa_isUp());
}

TEST_F(Registry, AnOpenUnderWayPutsTheCloseOfTheLibraryOff) {
  {
    const OpenInProgress open;
    ASSERT_TRUE(open.isUp());
    EXPECT_EQ(QV_viClose(QV_DEFAULT_RM_SESSION_HANDLE), VI_SUCCESS);
    EXPECT_TRUE(QVvisa_isUp());
  }
  EXPECT_FALSE(QVvisa_isUp());
  const OpenInProgress late;
  EXPECT_FALSE(late.isUp());
}

TEST(Records, AreMadeAndClosedAndAnArrayEndsInANull) {
  QVvisa_findListUsb_result_t** array = nullptr;
  ASSERT_EQ(QVvisa_initFindResultListArrUsb(&array, 0), VI_SUCCESS);
  EXPECT_EQ(array[0], nullptr);
  QVvisa_closeFindResultListArrUsb(&array);
  ASSERT_EQ(QVvisa_initFindResultListArrUsb(&array, 2), VI_SUCCESS);
  for (int i = 0; i <= 2; ++i) EXPECT_EQ(array[i], nullptr);
  for (int i = 0; i < 2; ++i) {
    QVvisa_closeFindResultListArrUsb(&array);
    EXPECT_EQ(array, nullptr);
  }
  QVvisa_findListUsb_result_t* usb = nullptr;
  QVvisa_findListAsrl_result_t* asrl = nullptr;
  EXPECT_TRUE(QVvisa_initFindResultListElemUsb(&usb) == VI_SUCCESS && usb);
  EXPECT_TRUE(QVvisa_initFindResultListElemAsrl(&asrl) == VI_SUCCESS && asrl);
  QVvisa_closeFindResultListElemUsb(&usb);
  QVvisa_closeFindResultListElemAsrl(&asrl);
  EXPECT_TRUE(!usb && !asrl);
}

}  // namespace
