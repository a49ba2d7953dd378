#include <libfreenect2/frame_listener.hpp>

#include <cstdlib>
#include <new>

namespace libfreenect2
{
namespace
{

constexpr size_t kAlignment = 64;

unsigned char* allocate(size_t bytes)
{
    const size_t whole = (bytes + kAlignment - 1) / kAlignment * kAlignment;
    void* const memory = std::aligned_alloc(kAlignment, whole);
    if (memory == nullptr && whole != 0) throw std::bad_alloc();
    return static_cast<unsigned char*>(memory);
}

}  // namespace

Frame::Frame(size_t frameWidth, size_t frameHeight, size_t bytesPerPixel, unsigned char* pixels)
    : width(frameWidth),
      height(frameHeight),
      bytes_per_pixel(bytesPerPixel),
      data(pixels),
      m_memory(pixels == nullptr ? allocate(frameWidth * frameHeight * bytesPerPixel) : nullptr)
{
    if (m_memory) data = m_memory.get();
}

Frame::~Frame() = default;

void Frame::Free::operator()(unsigned char* memory) const
{
    std::free(memory);
}

FrameListener::~FrameListener() = default;

}  // namespace libfreenect2
