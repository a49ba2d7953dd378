#include "tools/orca/picture_file.h"

#include <fcntl.h>
#include <opencv2/imgcodecs.hpp>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <random>
#include <utility>
#include <vector>

#include "common/error.h"
#include "common/logging.h"

namespace
{

namespace fs = std::filesystem;

using Bytes = std::vector<unsigned char>;

/// Readers may have it as they may have any file that the user makes.
constexpr mode_t kMode = 0666;

/// A file that nobody else has, gone with the object unless it got its place.
class NewFile
{
  public:
    /// @param path  of its place later; it begins in the same folder, with a name that cannot be
    /// foreseen, since everybody may write in /tmp
    explicit NewFile(const fs::path& path)
        : m_name(path.parent_path() /
                 ("." + path.filename().string() + "." + std::to_string(std::random_device()()))),
          m_fd(::open(m_name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kMode))
    {}
    ~NewFile()
    {
        close();
        if (m_exists) ::unlink(m_name.c_str());
    }
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;

    bool isOpen() const { return m_fd >= 0; }

    /// @return whether all is written; errno says why not
    bool write(const Bytes& bytes)
    {
        for (size_t done = 0; done < bytes.size();) {
            const ssize_t count = ::write(m_fd, bytes.data() + done, bytes.size() - done);
            if (count < 0 && errno != EINTR) return false;
            if (count > 0) done += static_cast<size_t>(count);
        }
        return close();  // some file systems tell only now that there is no room
    }

    bool moveTo(const std::string& path)
    {
        m_exists = ::rename(m_name.c_str(), path.c_str()) != 0;
        return !m_exists;
    }

  private:
    bool close()
    {
        const int fd = std::exchange(m_fd, -1);
        return fd < 0 || ::close(fd) == 0;
    }

    std::string m_name;
    int m_fd;
    bool m_exists = m_fd >= 0;
};

std::string remedyFor(int number, const fs::path& path)
{
    const std::string folder = path.parent_path();
    switch (number) {
        case ENOSPC:
        case EDQUOT: return "make room in " + folder;
        case EACCES:
        case EROFS: return "you need the right to write in " + folder;
        case EPERM: return "it is another user's file; sudo rm " + path.string() + " removes it";
        case EISDIR: return "a folder has this name; move it away";
        default: return "";
    }
}

std::optional<quill::Error> replace(const std::string& path, const cv::Mat& image)
{
    Bytes bytes;
    if (!cv::imencode(".png", image, bytes))
        return quill::Error{path, "encode", 0, "the image does not fit PNG", ""};
    NewFile file(path);
    if (file.isOpen() && file.write(bytes) && file.moveTo(path)) return std::nullopt;
    const int number = errno;
    return quill::Error{path, "write", number, "", remedyFor(number, path)};
}

}  // namespace

void writePicture(const std::string& path, const cv::Mat& image)
{
    const auto error = replace(path, image);
    if (!error) return;
    const bool isGone = ::unlink(path.c_str()) == 0 || errno == ENOENT;
    const char* const old = isGone ? "" : ", what is there is not the new picture";
    QUILL_LOG(quill::kWarning, "kinect") << "picture not written" << old << ": " << error->text();
}
