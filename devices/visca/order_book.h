#pragma once

#include <string>
#include <vector>

namespace quill::visca
{

/// An order that the camera has taken.
struct Order
{
    int number = 0;    ///< from 1, in the order in which they were taken; 0 is none
    int socket = 0;    ///< that the camera named when it took it
    std::string what;  ///< in words
};

/// The orders that the camera has acknowledged and not ended yet. Some cameras name one socket for
/// all, so that several orders may be in it. Pure.
class OrderBook
{
  public:
    /// @return the order's number
    int add(int socket, const std::string& what);
    void rename(int number, const std::string& what);

    bool holds(int number) const;
    bool isBusy(int socket) const;
    size_t size() const { return m_orders.size(); }

    /// A completion ends the oldest order of its socket. @pre isBusy(socket)
    Order takeOldest(int socket);
    /// A refusal soon follows the acknowledgement: it ends the youngest. @pre isBusy(socket)
    Order takeYoungest(int socket);

  private:
    std::vector<Order> m_orders;  // by number
    int m_last = 0;
};

}  // namespace quill::visca
