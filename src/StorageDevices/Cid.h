// The identification register (CID) of an eMMC device.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <tuple>
#include <variant>

#include "runtime/Vorn/ValueRecord.h"

namespace StorageDevices {

enum class CidError {
   size,  // the text is not 32 characters long
   hex,   // the length is right, but a character is no hexadecimal digit
};

// The 128 bits of the register, least significant byte first, as the eMMC standard (JEDEC) lays them out.
class Cid : public Vorn::ValueRecord<Cid> {
 public:
   static constexpr std::size_t pnmSize = 6;

   constexpr Cid() = default;

   std::uint8_t crcStorage() const { return bytes_[0]; }  // bits 7:0, the checksum above an always set bit
   void crcStorageIs(std::uint8_t value) { bytes_[0] = value; }

   std::uint8_t mdt() const { return bytes_[1]; }  // bits 15:8, manufacturing date
   void mdtIs(std::uint8_t value) { bytes_[1] = value; }

   std::uint32_t psn() const;  // bits 47:16, product serial number
   void psnIs(std::uint32_t value);

   std::uint8_t prv() const { return bytes_[6]; }  // bits 55:48, product revision, major in the high nibble
   void prvIs(std::uint8_t value) { bytes_[6] = value; }

   std::uint8_t pnm0() const { return bytes_[7]; }  // bits 63:56, last character of the product name
   void pnm0Is(std::uint8_t value) { bytes_[7] = value; }

   std::uint8_t pnm1() const { return bytes_[8]; }
   void pnm1Is(std::uint8_t value) { bytes_[8] = value; }

   std::uint8_t pnm2() const { return bytes_[9]; }
   void pnm2Is(std::uint8_t value) { bytes_[9] = value; }

   std::uint8_t pnm3() const { return bytes_[10]; }
   void pnm3Is(std::uint8_t value) { bytes_[10] = value; }

   std::uint8_t pnm4() const { return bytes_[11]; }
   void pnm4Is(std::uint8_t value) { bytes_[11] = value; }

   std::uint8_t pnm5() const { return bytes_[12]; }  // bits 103:96, first character of the product name
   void pnm5Is(std::uint8_t value) { bytes_[12] = value; }

   std::uint8_t oid() const { return bytes_[13]; }  // bits 111:104, OEM or application id
   void oidIs(std::uint8_t value) { bytes_[13] = value; }

   std::uint8_t cbxStorage() const { return bytes_[14]; }  // bits 119:112, form in bits 1:0, rest reserved
   void cbxStorageIs(std::uint8_t value) { bytes_[14] = value; }

   std::uint8_t mid() const { return bytes_[15]; }  // bits 127:120, manufacturer id
   void midIs(std::uint8_t value) { bytes_[15] = value; }

   // The checksum, bits 7:1. Writing it keeps bit 0 and ignores an eighth bit of the value.
   std::uint8_t crc() const { return static_cast<std::uint8_t>(crcStorage() >> 1U); }
   void crcIs(std::uint8_t value);

   // The form: a removable card or a device on the board, bits 113:112. Writing it keeps the other six bits.
   std::uint8_t cbx() const { return cbxStorage() & 3U; }
   void cbxIs(std::uint8_t value);

   // The `pnmSize` bytes of the product name as they are stored: last character first.
   std::uint8_t const * pnm() const { return &bytes_[7]; }

   static constexpr char const * recordName = "Cid";
   static constexpr auto recordFields() {
      return std::tuple{Vorn::recordField("crcStorage", &Cid::crcStorage, &Cid::crcStorageIs),
                        Vorn::recordField("mdt", &Cid::mdt, &Cid::mdtIs),
                        Vorn::recordField("psn", &Cid::psn, &Cid::psnIs),
                        Vorn::recordField("prv", &Cid::prv, &Cid::prvIs),
                        Vorn::recordField("pnm0", &Cid::pnm0, &Cid::pnm0Is),
                        Vorn::recordField("pnm1", &Cid::pnm1, &Cid::pnm1Is),
                        Vorn::recordField("pnm2", &Cid::pnm2, &Cid::pnm2Is),
                        Vorn::recordField("pnm3", &Cid::pnm3, &Cid::pnm3Is),
                        Vorn::recordField("pnm4", &Cid::pnm4, &Cid::pnm4Is),
                        Vorn::recordField("pnm5", &Cid::pnm5, &Cid::pnm5Is),
                        Vorn::recordField("oid", &Cid::oid, &Cid::oidIs),
                        Vorn::recordField("cbxStorage", &Cid::cbxStorage, &Cid::cbxStorageIs),
                        Vorn::recordField("mid", &Cid::mid, &Cid::midIs)};
   }

 private:
   friend std::variant<Cid, CidError> parseCid(std::string_view text);

   std::array<std::uint8_t, 16> bytes_{};
};

static_assert(sizeof(Cid) == 16 && alignof(Cid) == 1);

// Reads the register from the 32 hexadecimal digits that the kernel gives, most significant byte first. No
// line feed may follow.
std::variant<Cid, CidError> parseCid(std::string_view text);

// The identity that goes into the disk record.
struct CidIdentity {
   std::string model;     // manufacturer, blank, the six bytes of the product name with their blanks and NULs
   std::string serial;    // product serial number, eight lower-case hexadecimal digits
   std::string firmware;  // product revision, major and minor in decimal with a dot between

   bool operator==(CidIdentity const &) const = default;
};

CidIdentity cidIdentity(Cid const & cid);

// The name that belongs to a manufacturer id; for an unknown one the id as 0x and two lower-case digits.
std::string manufacturerName(std::uint8_t mid);

}  // namespace StorageDevices
