// Handles of the log messages, for the sources that log them; created when the library is loaded.
//
//    StorageDevices::LogMessages logs;
//    logs.offline(serial);
//
// A handle takes one text or number per placeholder of its format, in order. Another count does not compile.
#pragma once

#include "StorageDevices/LogCatalogue.h"
#include "StorageDevices/Module.h"
#include "runtime/Vorn/Log.h"

namespace StorageDevices {

template <Vorn::LogDescriptor const & descriptor>
class LogMessage {
 public:
   template <class... Arguments>
   requires(sizeof...(Arguments) == descriptor.placeholderCount()) void operator()(
       Arguments const &... arguments) {
      Vorn::log(handle_, {Vorn::logArgument(arguments)...});
   }

 private:
   Vorn::LogHandle handle_{descriptor, 0, 1.0, 0, 0};
};

struct LogMessages {
   bool const registered = Vorn::vornModuleIs(module());
   LogMessage<Catalogue::monitorError> monitorError;
   LogMessage<Catalogue::ioError> ioError;
   LogMessage<Catalogue::ioErrorExternalUsb> ioErrorExternalUsb;
   LogMessage<Catalogue::monitorWarning> monitorWarning;
   LogMessage<Catalogue::detectionError> detectionError;
   LogMessage<Catalogue::partitionNotMounted> partitionNotMounted;
   LogMessage<Catalogue::unexpectedPartitionMounted> unexpectedPartitionMounted;
   LogMessage<Catalogue::offline> offline;
   LogMessage<Catalogue::lifetimeInfo> lifetimeInfo;
   LogMessage<Catalogue::lifetimeWarning> lifetimeWarning;
};

}  // namespace StorageDevices
