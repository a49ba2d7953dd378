#pragma once

namespace libfreenect2
{

/// How the sensor's packets are decoded.
class PacketPipeline
{
  public:
    virtual ~PacketPipeline();

  protected:
    PacketPipeline() = default;
};

class CpuPacketPipeline : public PacketPipeline
{
  public:
    CpuPacketPipeline();
    ~CpuPacketPipeline() override;
};

}  // namespace libfreenect2
