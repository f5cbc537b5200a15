#include "tests/unit/service/StopMachine.h"

#include "hotkey/KeyBoardBridge.h"
#include "service/MainService.h"
#include "service/ServiceBase.h"
#include "shared/LogListener.h"

#include <malloc.h>

using Quil::Shared::CqlLogger;
using Quil::Shared::CqlLogListener;

namespace
{

constexpr std::size_t kPlaces = std::size_t{1} << 20;
constexpr unsigned char kFill = 0xDD;

void* s_kept[kPlaces];
std::atomic<std::size_t> s_count;
void (*s_free)(void*);

} // namespace

FreedMemory::FreedMemory()
{
    s_count = 0;
    void** const slot = Harness::FindImportSlot(GetModuleHandleW(nullptr), "free");
    s_free = reinterpret_cast<void (*)(void*)>(*slot);
    Harness::ExchangeImportSlot(slot, reinterpret_cast<void*>(&Keep));
}

FreedMemory::~FreedMemory()
{
    Harness::ExchangeImportSlot(Harness::FindImportSlot(GetModuleHandleW(nullptr), "free"),
                                reinterpret_cast<void*>(s_free));
    std::size_t written = 0;
    for (std::size_t i = 0; i < s_count && i < kPlaces; ++i)
    {
        const auto* const bytes = static_cast<const unsigned char*>(s_kept[i]);
        const std::size_t size = _msize(s_kept[i]);
        for (std::size_t place = 0; place < size; ++place)
        {
            if (bytes[place] != kFill)
            {
                ++written;
                break;
            }
        }
        s_free(s_kept[i]);
    }
    EXPECT_EQ(0u, written) << "blocks were written to after they were freed";
}

void FreedMemory::Keep(void* memory)
{
    const std::size_t place = memory != nullptr ? s_count++ : kPlaces;
    if (place >= kPlaces)
    {
        s_free(memory);
        return;
    }
    std::memset(memory, kFill, _msize(memory));
    s_kept[place] = memory;
}

// Every record is a point.
class StopMachine::Listener final : public CqlLogListener
{
  public:
    explicit Listener(StopMachine& machine) : CqlLogListener{0, nullptr, nullptr, true}, m_machine{machine} {}
    void Write(const LogData&) override { m_machine.Point(); }
    DWORD Type() const override { return Console; }

  private:
    StopMachine& m_machine;
};

StopMachine::StopMachine()
{
    m_framework.onQuestion = [this] { Point(); };
    auto logger = std::make_unique<CqlLogger>();
    logger->AddListener(std::make_unique<Listener>(*this));
    m_previousLogger = CqlLogger::ExchangeInstance(std::move(logger));
    // The bridge is the process's: it must not keep the reader of a service object that ends before the process.
    RpcServer::CKeyBoardBridge::getInstance(nullptr);
}

StopMachine::~StopMachine()
{
    SetEvent(m_hListeningEnds);
    SetEvent(m_hReached);
    for (std::thread* const thread : {&m_workItem, &m_sender})
    {
        if (thread->joinable())
        {
            thread->join();
        }
    }
    CqlLogger::ExchangeInstance(std::move(m_previousLogger));
    for (const HANDLE handle : {m_hReached, m_hHandled, m_hListeningEnds})
    {
        CloseHandle(handle);
    }
}

void StopMachine::Arm(int point, DWORD control)
{
    m_control = control;
    m_points = 0;
    m_at = point;
}

void StopMachine::Point()
{
    // Nothing comes before the service manager has somebody to send it to.
    if (m_handler != nullptr && ++m_points == m_at)
    {
        SetEvent(m_hReached);
        // The control's thread goes first, until it is done or has to wait for this one.
        static_cast<void>(WaitForSingleObject(m_hHandled, 5));
    }
}

// On a thread of its own, as the dispatcher's.
void StopMachine::Send()
{
    m_sender = std::thread{[this] {
        WaitForSingleObject(m_hReached, INFINITE);
        m_handler.load()(m_control, 0, nullptr, nullptr);
        SetEvent(m_hHandled);
    }};
}

bool StopMachine::Run(std::function<void()> calls)
{
    m_calls = std::move(calls);
    CMainService service{L"HotKeyServiceTLY", true, true, false};
    CServiceBase::Run(service);
    // The run time's thread may be at its last records.
    if (m_inTime && m_workItem.joinable())
    {
        m_workItem.join();
    }
    return m_inTime;
}

void StopMachine::Call(const std::function<void()>& operation)
{
    ++m_inside;
    if (m_registered)
    {
        operation();
    }
    --m_inside;
}
