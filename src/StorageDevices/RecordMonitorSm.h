// The base of the polling monitors that keep one record per disk: in SmartData, NvmeData or EmmcData.
//
// A disk has a record while it is connected and on a bus that the monitor reads. A disk that moves to another
// bus keeps its record, which is not read any more. The records are the host's and outlive the monitor: a new
// one goes on with them, and deletes those of disks that are gone.
#pragma once

#include <utility>

#include "StorageDevices/DataMonitorSm.h"

namespace StorageDevices {

template <class Data>
class RecordMonitorSm : public DataMonitorSm {
 public:
   Pelm::Ptr<Data> const & data() const { return data_; }

   // The operations of DataMonitorSm, on `data()`. Disks of every other bus are ignored.
   void handleDisk(Pelm::String const & name) override {
      Pelm::Ptr<ConnectedDisk const> const disk = devices()->disk(name);
      if (!disk || isRead(*disk))
         DataMonitorSm::handleDisk(name);
   }
   bool isInData(Pelm::String const & name) const override { return data_->deviceData.contains(name); }
   void addToData(Pelm::String const & name) override { data_->deviceDataIs(name); }
   void removeFromData(Pelm::String const & name) override { data_->deviceDataDel(name); }
   // In order of addition. The callback may add and delete records.
   void forEach(DeviceCallback callback) override {
      for (auto const & [name, record] : data_->deviceData)
         callback(*this, name);
   }

 protected:
   RecordMonitorSm(Pelm::Ptr<PollInterval const> pollInterval, Pelm::Ptr<ConnectedDevices const> devices,
                   Pelm::Ptr<Data> data)
       : DataMonitorSm{std::move(pollInterval), std::move(devices)}, data_{std::move(data)} {}

   // Whether the disk is on a bus that the monitor reads.
   virtual bool isRead(ConnectedDisk const & disk) const = 0;

   // The disk, if it is connected and on such a bus; else null.
   Pelm::Ptr<ConnectedDisk const> readDisk(Pelm::String const & name) const {
      Pelm::Ptr<ConnectedDisk const> disk = devices()->disk(name);
      return disk && isRead(*disk) ? disk : nullptr;
   }

 private:
   Pelm::Ptr<Data> data_;
};

}  // namespace StorageDevices
