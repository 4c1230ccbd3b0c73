#include "StorageDevices/Cid.h"

#include "StorageDevices/CharacterClasses.h"

namespace StorageDevices {

namespace {

constexpr std::size_t psnAt = 2;
constexpr std::size_t psnBytes = 4;

struct Manufacturer {
   std::uint8_t mid;
   std::string_view name;
};

constexpr std::array manufacturers{
    Manufacturer{0x03, "Toshiba"}, Manufacturer{0x11, "Toshiba"},         Manufacturer{0x13, "Micron"},
    Manufacturer{0x15, "Samsung"}, Manufacturer{0x45, "Western Digital"}, Manufacturer{0x70, "Kingston"},
    Manufacturer{0x89, "Tricor"},  Manufacturer{0xF6, "Smart Modular"},   Manufacturer{0xFE, "Micron"},
};

// The value's low `digits` hexadecimal digits in lower case.
std::string hexText(std::uint32_t value, unsigned digits) {
   std::string text;
   for (unsigned digit = digits; digit-- > 0;)
      text.push_back("0123456789abcdef"[(value >> (4 * digit)) & 0xFU]);
   return text;
}

}  // namespace

std::uint32_t Cid::psn() const {
   std::uint32_t value = 0;
   for (std::size_t i = psnBytes; i-- > 0;)
      value = value << 8U | bytes_[psnAt + i];
   return value;
}

void Cid::psnIs(std::uint32_t value) {
   for (std::size_t i = 0; i < psnBytes; ++i)
      bytes_[psnAt + i] = static_cast<std::uint8_t>(value >> (8 * i));
}

void Cid::crcIs(std::uint8_t value) {
   crcStorageIs(static_cast<std::uint8_t>((crcStorage() & 1U) | (value & 0x7FU) << 1U));
}

void Cid::cbxIs(std::uint8_t value) {
   cbxStorageIs(static_cast<std::uint8_t>((cbxStorage() & 0xFCU) | (value & 3U)));
}

std::variant<Cid, CidError> parseCid(std::string_view text) {
   Cid cid;
   if (text.size() != 2 * cid.bytes_.size())
      return CidError::size;
   for (std::size_t i = 0; i < cid.bytes_.size(); ++i) {
      int const high = hexDigitValue(text[2 * i]);
      int const low = hexDigitValue(text[2 * i + 1]);
      if (high < 0 || low < 0)
         return CidError::hex;
      cid.bytes_[cid.bytes_.size() - 1 - i] = static_cast<std::uint8_t>(high * 16 + low);
   }
   return cid;
}

std::string manufacturerName(std::uint8_t mid) {
   for (auto const & manufacturer : manufacturers) {
      if (manufacturer.mid == mid)
         return std::string(manufacturer.name);
   }
   return "0x" + hexText(mid, 2);
}

CidIdentity cidIdentity(Cid const & cid) {
   std::string const name(cid.pnm(), cid.pnm() + Cid::pnmSize);
   CidIdentity identity;
   identity.model = manufacturerName(cid.mid()) + ' ';
   identity.model.append(name.rbegin(), name.rend());
   identity.serial = hexText(cid.psn(), 8);
   identity.firmware = std::to_string(cid.prv() >> 4U) + '.' + std::to_string(cid.prv() & 0xFU);
   return identity;
}

}  // namespace StorageDevices
