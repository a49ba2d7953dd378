#include "order_book.h"

#include <algorithm>
#include <utility>

namespace quill::visca
{
namespace
{

auto inSocket(int socket)
{
    return [socket](const Order& order) { return order.socket == socket; };
}

auto numbered(int number)
{
    return [number](const Order& order) { return order.number == number; };
}

}  // namespace

int OrderBook::add(int socket, const std::string& what)
{
    m_orders.push_back({++m_last, socket, what});
    return m_last;
}

void OrderBook::rename(int number, const std::string& what)
{
    const auto found = std::find_if(m_orders.begin(), m_orders.end(), numbered(number));
    if (found != m_orders.end()) found->what = what;
}

bool OrderBook::holds(int number) const
{
    return std::any_of(m_orders.begin(), m_orders.end(), numbered(number));
}

bool OrderBook::isBusy(int socket) const
{
    return std::any_of(m_orders.begin(), m_orders.end(), inSocket(socket));
}

Order OrderBook::takeOldest(int socket)
{
    const auto found = std::find_if(m_orders.begin(), m_orders.end(), inSocket(socket));
    Order order = std::move(*found);
    m_orders.erase(found);
    return order;
}

Order OrderBook::takeYoungest(int socket)
{
    const auto found = std::find_if(m_orders.rbegin(), m_orders.rend(), inSocket(socket));
    Order order = std::move(*found);
    m_orders.erase(std::next(found).base());
    return order;
}

}  // namespace quill::visca
