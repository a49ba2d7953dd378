#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

// The part of libfreenect2's public interface (0.2) that rigtool uses, for builds without it.

namespace libfreenect2
{

/// A frame of one camera: packed rows, top to bottom, each from left to right. Not to be copied.
class Frame
{
  public:
    enum Type { Color = 1, Ir = 2, Depth = 4 };

    enum Format {
        Invalid = 0,
        Raw = 1,    ///< as the sensor sent it
        Float = 2,  ///< a 4-byte float a pixel
        BGRX = 4,   ///< 4 bytes a pixel, the fourth is not used
        RGBX = 5,
        Gray = 6,  ///< 1 byte a pixel
    };

    size_t width;
    size_t height;
    size_t bytes_per_pixel;
    unsigned char* data;
    uint32_t timestamp = 0;  ///< some 0.1 ms
    uint32_t sequence = 0;
    float exposure = 0;
    float gain = 0;
    float gamma = 0;
    uint32_t status = 0;  ///< 0 whole, non-zero damaged
    Format format = Invalid;

    /// @param pixels  borrowed; null: 64-byte aligned memory that the frame owns
    Frame(size_t width, size_t height, size_t bytes_per_pixel, unsigned char* pixels = nullptr);
    virtual ~Frame();
    Frame(const Frame&) = delete;
    Frame& operator=(const Frame&) = delete;

  private:
    struct Free
    {
        void operator()(unsigned char* memory) const;
    };
    std::unique_ptr<unsigned char, Free> m_memory;
};

class FrameListener
{
  public:
    virtual ~FrameListener();

    /// Called on a thread of the library, one for colour and one for infrared and depth.
    /// @return whether the listener owns the frame now
    virtual bool onNewFrame(Frame::Type type, Frame* frame) = 0;
};

}  // namespace libfreenect2
