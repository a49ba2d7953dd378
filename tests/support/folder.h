#pragma once

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

namespace support
{

/// A folder of the test's own, gone with it, whoever else runs the tests on this computer.
class Folder
{
  public:
    Folder()
    {
        // Without links: paths are compared as the system gives them.
        std::string name =
            std::filesystem::canonical(testing::TempDir()).string() + "/rigtool_test.XXXXXX";
        if (::mkdtemp(name.data()) == nullptr)
            throw std::system_error(errno, std::generic_category(), name);
        m_path = name;
    }
    ~Folder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    const std::filesystem::path& path() const { return m_path; }
    std::filesystem::path operator/(const std::string& name) const { return m_path / name; }

  private:
    std::filesystem::path m_path;
};

}  // namespace support
