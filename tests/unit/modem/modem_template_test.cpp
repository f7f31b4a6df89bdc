// The fields of the modem object, which another specialisation finds by their order.
#include "vantord/modem/modem_qc.h"

#include "tests/testing/modem_fixture.h"

namespace {

class Fields : public CModemQC {
 public:
  template <typename Field>
  std::size_t OffsetOf(const Field& field) const {
    return static_cast<std::size_t>(reinterpret_cast<const char*>(&field) - reinterpret_cast<const char*>(this));
  }
  std::size_t control() const { return OffsetOf(m_pModemCtrl); }
  std::size_t state() const { return OffsetOf(m_modemState); }
  std::size_t display() const { return OffsetOf(m_bDisplayOn); }
};

class ModemTemplate : public modem_tests::ModemTest {};

TEST_F(ModemTemplate, OnlyTheConcreteClassHasAVirtualDestructor) {
  EXPECT_FALSE(std::has_virtual_destructor_v<CModemTemplate>);
  EXPECT_TRUE(std::has_virtual_destructor_v<CModemQC>);
}

TEST_F(ModemTemplate, ItsFieldsAreTheControlDeviceTheStateAndTheDisplayInThisOrder) {
  Fields const modem;
  EXPECT_EQ(modem.control(), sizeof(void*));
  EXPECT_EQ(modem.state(), modem.control() + sizeof(void*));
  EXPECT_EQ(modem.display(), modem.state() + 2 * sizeof(DWORD));
}

}  // namespace
