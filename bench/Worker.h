#pragma once
// A program of the benchmark: it lists its operations, then measures those that bench.py asks for, so that programs of
// several libraries take turns, call by call, and none shares a heap with another.
#include <ctime>
#include <exception>
#include <functional>
#include <iostream>
#include <map>
#include <string>
#include <utility>

namespace kestrel::bench {

class Worker {
public:
    /// `folder` holds the pictures. With several threads the time is that of a clock on the wall, otherwise that of the
    /// process, which a busy machine disturbs less.
    struct Options {
        std::string folder;
        int threads = 1;
        bool fresh = false;  ///< results go into new memory at each call, as in a program that keeps nothing
        bool avx2 = false;   ///< no instruction set above AVX2
    };

    /// Of the words of a command line: FOLDER THREADS and further words.
    static Options Read(int count, char** words) {
        Options options;
        if (count > 1) options.folder = words[1];
        if (count > 2) options.threads = std::atoi(words[2]);
        for (int i = 3; i < count; ++i) {
            options.fresh |= std::string(words[i]) == "fresh";
            options.avx2 |= std::string(words[i]) == "avx2";
        }
        return options;
    }

    explicit Worker(Options options) : options_(std::move(options)) {}

    const Options& Given() const { return options_; }

    /// One operation of a row of the table: `call` says how it is done, `work` does it once or throws.
    void Add(const std::string& row, const std::string& call, std::function<void()> work) {
        operations_[row] = std::move(work);
        list_ += row + "\t" + call + "\n";
    }

    /// The same with a result that is kept from call to call unless it has to be fresh.
    template <class Result>
    void Add(const std::string& row, const std::string& call, std::function<void(Result&)> work) {
        Add(row, call, [this, work = std::move(work)] {
            static Result kept;  // one for each type: the next operation writes over it
            if (!options_.fresh) return work(kept);
            Result fresh;
            work(fresh);
        });
    }

    /// Prints the version and the list, then a number of seconds, or "!" and a reason, for each row that is asked for.
    int Run(const std::string& version) const {
        std::cout << version << "\n" << list_ << std::endl;
        for (std::string row; std::getline(std::cin, row);) try {
                std::cout << Measure(operations_.at(row)) << std::endl;
            } catch (const std::exception& error) {
                std::cout << "!" << error.what() << std::endl;
            }
        return 0;
    }

private:
    double Now() const {
        timespec now{};
        clock_gettime(options_.threads > 1 ? CLOCK_MONOTONIC : CLOCK_PROCESS_CPUTIME_ID, &now);
        return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
    }

    /// Seconds of one call; short ones are repeated until the clock is fine enough for them.
    double Measure(const std::function<void()>& work) const {
        constexpr double kEnough = 1e-3;
        const double start = Now();
        for (int calls = 1;; ++calls) {
            work();
            const double taken = Now() - start;
            if (taken >= kEnough) return taken / calls;
        }
    }

    Options options_;
    std::map<std::string, std::function<void()>> operations_;
    std::string list_;
};

}  // namespace kestrel::bench
