// The running program, which polls ten times a second, and what it serves of the disks' health.
#pragma once

#include <gtest/gtest.h>
#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <string>
#include <string_view>

#include "tests/integration/agent/AgentProgramTest.h"

class HealthTest : public AgentProgramTest {
 protected:
   using DriveHealth = StorageDevices::Simulation::DriveHealth;
   using Tool = StorageDevices::Simulation::Tool;
   using Json = rapidjson::Value;

   static std::string textOf(Json const & value) {
      rapidjson::StringBuffer buffer;
      rapidjson::Writer writer{buffer};
      value.Accept(writer);
      return buffer.GetString();
   }

   // Whether two JSON values are equal, whatever the order of members.
   static testing::AssertionResult isJson(Json const & value, char const * expected) {
      rapidjson::Document document;
      document.Parse(expected);
      if (!document.HasParseError() && value == document)
         return testing::AssertionSuccess();
      return testing::AssertionFailure() << textOf(value) << "\nis not\n" << expected;
   }

   HealthTest() {
      unit.blockdevIs({{".*/ata1/", "drive"},
                       {".*/ata2/", "flash"},
                       {".*/nvme/", "drive2"},
                       {".*/mmc_host/", "emmc"},
                       {".*/usb", "usb1"}});
      polled("");
   }

   // Ten polls a second.
   void polled(std::string const & more) {
      config("[clock]\ntime_scale = 10\n" + more, "poll_interval = 1\n");
      keyIs("appliance", "expected_mounts = [\"flash\", \"drive\", \"emmc\"]");
   }

   Json const & of(char const * key, char const * serial) const { return state[key][serial]; }

   // Null when the disk has no such source.
   Json const * reading(char const * serial, std::string_view source) const {
      if (!state["readings"].HasMember(serial))
         return nullptr;
      for (Json const & reading : state["readings"][serial].GetArray())
         if (reading["source"].GetString() == source)
            return &reading;
      return nullptr;
   }
   bool isGood(char const * serial, std::string_view source) const {
      Json const * const found = reading(serial, source);
      return found && found->HasMember("lastGood") && !found->HasMember("failingSince");
   }
   std::string reason(char const * serial, std::string_view source) const {
      Json const * const found = reading(serial, source);
      return found && found->HasMember("reason") ? (*found)["reason"].GetString() : "";
   }

   // The latest run of a tool on a device that ended, null when there is none among the latest.
   Json const * lastRun(std::string_view program, std::string_view device) const {
      Json const * last = nullptr;
      for (Json const & run : state["tools"]["last"].GetArray()) {
         auto const & argv = run["argv"];
         if (argv[0].GetString() == program && argv[argv.Size() - 1].GetString() == device)
            last = &run;
      }
      return last;
   }
};
