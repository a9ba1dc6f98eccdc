#ifndef SUPPORT_PEEK_H
#define SUPPORT_PEEK_H

namespace support
{

/// Reaches a protected data member of the product. A test names what it needs in a deriving struct, which is never
/// made, and passes the pointer to member that the using-declaration makes public:
///
///     struct Peek : STKThread { using STKThread::m_bStop; };
///     bool stopped = support::peek(thread, &Peek::m_bStop);
///
/// Static members need no helper: `Peek::m_pStkLogicInst`.
template <class Object, class Member>
Member &peek(Object *object, Member Object::*member)
{
    return object->*member;
}

} // namespace support

#endif // SUPPORT_PEEK_H
