#include "conduits/CDevice.h"

#include <utility>

#include "files/FileNames.h"

namespace pylon {

CDevice::CDevice(const StoreFileFactory& files, const Clock& clock, std::shared_ptr<LogSink> log)
    : clock_(clock), store_(files(u"DeviceStore.ini"), std::move(log)), stamp_(clock.Now()) {}

void CDevice::SetDeviceName(std::u16string_view name) {
  device_name_ = name;
  PlaceStore();
}

void CDevice::SetDeviceDateTime(Date date) {
  device_date_time_ = date;
  stamp_ = clock_.Now();
}

void CDevice::SetFolder(std::u16string_view folder) {
  folder_ = folder;
  PlaceStore();
}

void CDevice::PlaceStore() {
  store_.SetFolder(folder_.empty() ? std::u16string()
                                   : JoinFullName(folder_, FolderName(device_name_)));
}

}  // namespace pylon
