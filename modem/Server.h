// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <future>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include "host/mox/Descriptor.h"
#include "host/mox/Frame.h"
#include "modem/Capture.h"
#include "modem/Connection.h"
#include "modem/FrameHandler.h"
#include "modem/ListenSocket.h"

namespace velo::modem {

/// The modem's thread and its socket. Everything that the modem is made of lives on that thread:
/// requests arrive there, and run() brings everybody else's work there. No operation waits for a
/// client.
class Server {
public:
    using Tamper = std::function<bool(mox::Frame&)>;
    using Outlet = std::function<void(Connection&, mox::Frame)>;

    Server();
    /// Ends the thread and closes every connection.
    ~Server();
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    /// Starts the thread. `handler` must live until stop().
    void start(FrameHandler& handler);
    void stop();

    /// Does the work on the modem's thread, in the order of the calls, and returns its result. On
    /// that thread itself it is done at once.
    template <typename Work>
    auto run(Work work) -> std::invoke_result_t<Work> {
        if (std::this_thread::get_id() == mThread.get_id()) {
            return work();
        }
        // Shared, because the thread is still leaving the task when the result is there.
        const auto task =
            std::make_shared<std::packaged_task<std::invoke_result_t<Work>()>>(std::move(work));
        auto result = task->get_future();
        post([task] { (*task)(); });
        return result.get();
    }

    // The rest on the modem's thread only (or before it was started).

    /// @throws std::system_error as ListenSocket does
    void open(const std::string& path);
    bool isOpen() const { return mListen.isOpen(); }

    /// Records every frame in a file from here on. Before start().
    ///
    /// @throws std::system_error, ModemError as Capture does
    void startCapture(const std::string& path) { mCapture = std::make_unique<Capture>(path); }

    /// Nobody can connect any more, and every connection is lost.
    void close();

    /// Where every frame leaves: through the outlet, when there is one.
    void transmit(Connection& connection, mox::Frame frame);

    /// Sends a frame past the outlet. Nothing for a closed connection.
    void deliver(Connection& connection, mox::Frame frame);

    /// Whoever decides when, and whether, a frame is delivered. Set before start().
    void setOutlet(Outlet outlet) { mOutlet = std::move(outlet); }

    void setTamper(Tamper tamper);

    /// Does the work once the time has passed and the current piece of work is done; in the order
    /// of the calls when they are due together. What is not due by stop() is never done.
    void after(std::chrono::milliseconds delay, std::function<void()> work);

    void disconnect(Connection& connection) { drop(connection); }

    /// Null when that client is gone.
    Connection* find(std::uint64_t number) const;

    /// All connections, closed ones that were not swept yet included. Not changed within one piece
    /// of work.
    const std::vector<std::unique_ptr<Connection>>& connections() const { return mConnections; }

private:
    using Clock = std::chrono::steady_clock;

    void post(std::function<void()> task);
    void loop();
    void runTasks();
    int untilTimer() const;
    void runTimers();
    void accept();
    void acceptLater();
    void onEvent(Connection& connection, unsigned int events);
    void receive(Connection& connection);
    void drop(Connection& connection);
    void watchForRoom(Connection& connection, bool before);
    void watch(int fd, void* owner, unsigned int events, int operation) const;
    void sweep();

    const mox::Descriptor mEpoll;
    const mox::Descriptor mWake;
    FrameHandler* mHandler = nullptr;
    ListenSocket mListen;
    std::unique_ptr<Capture> mCapture;
    std::vector<std::unique_ptr<Connection>> mConnections;
    std::vector<std::uint8_t> mBuffer;
    std::uint64_t mAccepted = 0;
    Outlet mOutlet;
    std::shared_ptr<Tamper> mTamper;
    std::multimap<Clock::time_point, std::function<void()>> mTimers;
    bool mStopping = false;

    std::mutex mMutex;
    std::vector<std::function<void()>> mTasks;  ///< guarded by mMutex
    std::thread mThread;
};

}  // namespace velo::modem
