#include "tests/endurance/TestedFileSystems.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include <utility>

#include "runtime/model/MountPtMonitorHelper.h"
#include "runtime/model/MountTable.h"

namespace Endurance {

namespace {

namespace fs = std::filesystem;

constexpr unsigned blockSize = 512;

// The mounts as the script has them.
class Helper final : public MountPtMonitorHelper {
 public:
   explicit Helper(World const & world) : world_{world} {}

   MountState mountState(Pelm::String const & mountPt) const override {
      for (PlaceState const & place : world_.all())
         if (mountPt == Pelm::String{place.mountPoint()})
            return stateOf(place);
      return {};
   }

 private:
   static MountState stateOf(PlaceState const & place) {
      if (place.mount == Endurance::MountState::gone)
         return {};
      bool const isOther = place.mount == Endurance::MountState::other;
      std::string const own = "/dev/" + std::string{place.place->kernelName[0]} + "1";
      return {true, place.mount == Endurance::MountState::readOnly,
              Pelm::String{isOther ? "/dev/other1" : own}, blockSize};
   }

   World const & world_;
};

}  // namespace

// Gives a test its file in memory, and the faults that the script has for it.
class TestedFileSystems::Test {
 public:
   Test(Pelm::Ptr<StorageDevices::FsHealthSm> test, PlaceState const & place, int file)
       : test_{std::move(test)}, place_{place}, file_{file} {
      reactor_.notifierIs(test_);
      reactor_.on<&Test::update>(test_->state, *this);
      reactor_.hasNotificationActiveIs(true);
      update();
   }
   Test(Test const &) = delete;
   Test & operator=(Test const &) = delete;
   ~Test() {
      if (isFile(handed_))
         close(handed_);
   }

   void update() {
      auto & operations = *test_->ioOps();
      IoFault const & io = place_.io;
      auto const result = [&io](char const * call, int otherwise = 0) {
         return io.call == call ? -1 : otherwise;
      };
      bool const lies = io.call == "lies";
      operations.openRetIs(result("open", descriptor()));
      operations.lseekRetIs(result("lseek"));
      operations.writeRetIs(result("write", lies && !io.readLies ? 100 : 0));
      operations.fsyncRetIs(result("fsync"));
      operations.readRetIs(result("read", lies && io.readLies ? static_cast<int>(blockSize) : 0));
      operations.closeRetIs(result("close"));
      operations.utilChkRetIs(place_.usedPercent);
      for (auto errnoIs :
           {&StorageDevices::FsHealthIoOps::openErrnoIs, &StorageDevices::FsHealthIoOps::lseekErrnoIs,
            &StorageDevices::FsHealthIoOps::writeErrnoIs, &StorageDevices::FsHealthIoOps::fsyncErrnoIs,
            &StorageDevices::FsHealthIoOps::readErrnoIs, &StorageDevices::FsHealthIoOps::closeErrnoIs})
         (operations.*errnoIs)(io.error);
   }

 private:
   // The one that the test will open; the one before it is closed, unless a fault kept it open.
   int descriptor() {
      if (!isFile(handed_))
         handed_ = fcntl(file_, F_DUPFD_CLOEXEC, 3);
      return handed_;
   }
   bool isFile(int fd) const {
      struct stat own {};
      struct stat other {};
      return fd >= 0 && fstat(file_, &own) == 0 && fstat(fd, &other) == 0 && own.st_ino == other.st_ino &&
             own.st_dev == other.st_dev;
   }

   Pelm::Ptr<StorageDevices::FsHealthSm> test_;
   PlaceState const & place_;
   int file_;
   int handed_ = -1;
   Vorn::NotifieeConst reactor_;
};

TestedFileSystems::TestedFileSystems(fs::path root, World const & world)
    : root_{std::move(root)}, world_{world} {
   StorageDevices::Mounts::rootIs(root_.string());
   MountPtMonitorHelper::creatorIs([this] { return Pelm::make<Helper>(world_); });
   for (PlaceState const & place : world_.all())
      files_[place.place] = Base::UniqueFd{memfd_create("cookie", MFD_CLOEXEC)};
   foldersAre();
}

TestedFileSystems::~TestedFileSystems() {
   tests_.clear();
   MountPtMonitorHelper::creatorIs(nullptr);
   StorageDevices::Mounts::rootIs("");
}

void TestedFileSystems::monitorsAre(Pelm::Ptr<StorageDevices::MountPtMonitorManagerSm> monitors) {
   tests_.clear();
   monitors_ = std::move(monitors);
}

void TestedFileSystems::foldersAre() {
   for (PlaceState const & place : world_.all()) {
      fs::path const folder = root_ / place.mountPoint().substr(1);
      if (place.folder)
         fs::create_directories(folder);
      else
         fs::remove_all(folder);
   }
}

void TestedFileSystems::update() {
   foldersAre();
   for (auto const & [place, test] : tests_)
      if (test)
         test->update();
}

void TestedFileSystems::findTests() {
   for (PlaceState const & place : world_.all()) {
      auto const monitor =
          monitors_ ? monitors_->mountPtMonitorSm(Pelm::String{place.mountPoint()}) : nullptr;
      auto & known = tests_[place.place];
      if (monitor && monitor->fsHealthSm() && !known)
         known = std::make_unique<Test>(monitor->fsHealthSm(), place, files_.at(place.place).get());
   }
}

}  // namespace Endurance
