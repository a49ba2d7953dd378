#include "stream_worker.h"

#include "log.h"

namespace libfreenect2
{

using namespace quill::kinect;

bool StreamWorker::start(FrameListener* listener)
{
    stop();
    m_socket = SensorSocket::open(m_type == Frame::Color ? MessageKind::StartColour
                                                         : MessageKind::StartInfrared);
    if (!m_socket) return false;
    if (m_socket->status() != SensorStatus::Ready) {
        logError("cannot start the isochronous transfers: LIBUSB_ERROR_IO Input/Output Error");
        return false;
    }
    m_isStopping = false;
    m_thread = std::thread(&StreamWorker::run, this, listener);
    return true;
}

void StreamWorker::stop()
{
    if (!m_thread.joinable()) return;
    m_isStopping = true;
    m_socket->shutDown();
    m_thread.join();
    m_socket.reset();
}

void StreamWorker::run(FrameListener* listener)
{
    std::unique_ptr<Frame> frame;
    while (receiveFrame(&frame)) {
        log(Logger::Debug, "frame " + std::to_string(frame->sequence));
        if (listener != nullptr && listener->onNewFrame(m_type, frame.get())) (void)frame.release();
    }
    if (!m_isStopping)
        logError(
            "the transfers have ended: LIBUSB_ERROR_NO_DEVICE No such device (it may have "
            "been disconnected)");
}

bool StreamWorker::receiveFrame(std::unique_ptr<Frame>* frame)
{
    const auto header = m_socket->receiveHeader();
    if (!header || header->payloadBytes == 0) return false;
    if (!*frame || (*frame)->width != header->width || (*frame)->height != header->height)
        *frame = std::make_unique<Frame>(header->width, header->height, header->bytesPerPixel);
    (*frame)->format = static_cast<Frame::Format>(header->format);
    (*frame)->status = header->status;
    (*frame)->sequence = header->sequence;
    (*frame)->timestamp = header->timestamp;
    return m_socket->receive((*frame)->data, header->payloadBytes);
}

}  // namespace libfreenect2
