#pragma once

#include <memory>
#include <optional>
#include <string>

#include "common/error.h"
#include "devices/gpio/ft232r_codec.h"

namespace quill
{

class FT232R;

/// The EEPROM inside the FT232R behind a tty (chip maker's application notes). The chip takes what
/// is written at the next plug-in; the tty stays usable. Failures are values. The destructor closes
/// the USB device. One thread.
class Ft232rEeprom
{
  public:
    Ft232rEeprom();
    ~Ft232rEeprom();
    Ft232rEeprom(const Ft232rEeprom&) = delete;
    Ft232rEeprom& operator=(const Ft232rEeprom&) = delete;

    /// @param path  device node of the tty or a link to it
    [[nodiscard]] std::optional<Error> open(const std::string& path);

    /// All words, whether their checksum is right or not.
    [[nodiscard]] std::optional<Error> read(ft232r::EepromWords* words);

    /// Writes the words in which `wanted` differs from `present`, reads all back and compares. What
    /// could not be written as a whole is put back as it was, where the chip still can be reached;
    /// the error says which it is. Ctrl-C waits for the end.
    [[nodiscard]] std::optional<Error> write(const ft232r::EepromWords& present,
                                             const ft232r::EepromWords& wanted);

  private:
    [[nodiscard]] std::optional<Error> writeWords(const ft232r::EepromWords& present,
                                                  const ft232r::EepromWords& wanted);
    Error putBack(Error error, const ft232r::EepromWords& present);

    std::string m_path;
    std::unique_ptr<FT232R> m_chip;
};

}  // namespace quill
