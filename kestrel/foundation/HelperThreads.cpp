#include "kestrel/foundation/HelperThreads.h"

#include <condition_variable>
#include <exception>
#include <mutex>
#include <new>
#include <system_error>
#include <thread>
#include <vector>

namespace kestrel {

/// The threads of one object, and the work that they share now.
class HelperThreads::Team {
public:
    explicit Team(int helpers) {
        try {
            while (static_cast<int>(threads_.size()) < helpers) threads_.emplace_back([this] { Serve(); });
        } catch (const std::system_error&) {  // the system allows no more threads
        } catch (const std::bad_alloc&) {     // nor is there memory for them; those that have started are kept
        }
    }
    ~Team() {
        {
            const std::lock_guard lock(guard_);
            ending_ = true;
        }
        called_.notify_all();
        for (std::thread& thread : threads_) thread.join();
    }

    bool Share(int count, const std::function<bool(int)>& part) {
        std::unique_lock lock(guard_);
        part_ = &part;
        next_ = 0;
        count_ = count;
        thrown_ = nullptr;
        stopped_ = false;
        called_.notify_all();
        Take(lock);
        finished_.wait(lock, [this] { return running_ == 0; });
        part_ = nullptr;
        if (thrown_) std::rethrow_exception(thrown_);
        return !stopped_;
    }

private:
    bool IsWork() const { return part_ && next_ < count_; }

    void Serve() {
        std::unique_lock lock(guard_);
        while (true) {
            called_.wait(lock, [this] { return ending_ || IsWork(); });
            if (ending_) return;
            Take(lock);
        }
    }

    /// Runs parts until none is left to begin. Called with the lock held, which it releases during a part.
    void Take(std::unique_lock<std::mutex>& lock) {
        while (IsWork()) {
            const int number = next_++;
            const auto& part = *part_;
            ++running_;
            lock.unlock();
            bool goOn = false;
            std::exception_ptr thrown;
            try {
                goOn = part(number);
            } catch (...) {
                thrown = std::current_exception();
            }
            lock.lock();
            --running_;
            if (thrown && !thrown_) thrown_ = thrown;
            if (!goOn) {
                stopped_ = true;
                next_ = count_;
            }
        }
        if (running_ == 0) finished_.notify_all();
    }

    std::vector<std::thread> threads_;
    std::mutex guard_;  ///< of all that follows
    std::condition_variable called_, finished_;
    const std::function<bool(int)>* part_ = nullptr;
    int next_ = 0;     ///< first part that no thread has begun
    int count_ = 0;    ///< number of parts
    int running_ = 0;  ///< parts that are begun and not finished
    bool stopped_ = false;
    bool ending_ = false;
    std::exception_ptr thrown_;
};

HelperThreads*& HelperThreads::Current() {
    thread_local HelperThreads* current = nullptr;
    return current;
}

HelperThreads::HelperThreads(int threads) : threads_(std::max(threads, 1)), outer_(Current()) { Current() = this; }

HelperThreads::~HelperThreads() { Current() = outer_; }

int HelperThreads::Count() { return Current() ? Current()->threads_ : 1; }

bool HelperThreads::Share(int count, const std::function<bool(int)>& part) {
    HelperThreads* const own = Current();
    if (count < 2 || !own || own->threads_ == 1) {
        for (int i = 0; i < count; ++i)
            if (!part(i)) return false;
        return true;
    }
    if (!own->team_) own->team_ = std::make_unique<Team>(own->threads_ - 1);
    const struct Alone {  // a part that shares work of its own does all of it on its thread
        HelperThreads* const shared = Current();
        Alone() { Current() = nullptr; }
        ~Alone() { Current() = shared; }
    } alone;
    return own->team_->Share(count, part);
}

}  // namespace kestrel
