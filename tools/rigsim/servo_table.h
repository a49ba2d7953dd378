#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "tools/rigsim/bytes.h"

namespace rigsim
{

/// The control table of an MX-28 servo (servo maker's e-manual, protocol 1.0): EEPROM up to address
/// 23, RAM from 24 on. The registers' addresses are those of quill::dynamixel::Register.
class ServoTable
{
  public:
    static constexpr size_t kSize = 74;

    /// With factory values: ID 1, baud number 34.
    ServoTable();

    /// A register's value. @param address  where it begins
    int value(int address) const;
    /// What the servo itself keeps there. @param value  fits the register
    void set(int address, int value);

    /// @return nothing when it goes beyond the table's end
    std::optional<Bytes> read(size_t address, size_t count) const;

    /// What a write of these bytes would bring, as error bits; 0 when all of it is taken. Registers
    /// refuse what is out of their range; those that are read-only or reserved, and the EEPROM
    /// while register 47 locks it, refuse everything.
    uint8_t check(size_t address, const Bytes& bytes) const;
    /// As check(), and takes it when nothing is wrong. All or nothing.
    uint8_t write(size_t address, const Bytes& bytes);

    /// Factory reset: the RAM stays.
    void resetEeprom();

  private:
    struct Field;
    static const std::vector<Field>& fields();
    static const Field& fieldFrom(int address);
    int valueOf(const Field& field) const;
    bool isGoalWithinLimits() const;

    std::array<uint8_t, kSize> m_bytes{};
};

/// Whether `count` bytes from `address` on are part of the register, a word.
bool touchesWord(size_t address, size_t count, int registerAddress);

}  // namespace rigsim
