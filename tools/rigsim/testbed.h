#pragma once

#include <memory>
#include <string>
#include <vector>

#include "tools/rigsim/rig.h"

namespace rigsim
{

/// The made-up /dev and /sys in which a process finds the rig's devices under their usual names,
/// each serial line as a USB adapter with its place in the USB tree, its USB node and the lasting
/// name of its tty (left out where TMPDIR is longer than some 20 characters: no socket of the
/// testbed could be named after it). A temporary folder in TMPDIR, gone with the object. The rig
/// must outlive it.
class Testbed
{
  public:
    /// @throw std::runtime_error  with the cause and the remedy
    explicit Testbed(Rig& rig);
    ~Testbed();
    Testbed(const Testbed&) = delete;
    Testbed& operator=(const Testbed&) = delete;

    /// The environment ("NAME=VALUE") of this process plus what makes a new process see the
    /// testbed: for execve() and posix_spawn(). This process itself does not see it.
    std::vector<std::string> environment() const;

  private:
    struct Impl;
    std::unique_ptr<Impl> m_impl;
};

}  // namespace rigsim
