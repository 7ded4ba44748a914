#include "base/jobs.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <stdexcept>
#include <utility>
#include <vector>

#include "base/frame_memory.h"

namespace cali::host {
namespace {

enum class Message : uint8_t { told, answer, problem };

struct Header {
    Message message = Message::told;
    uint64_t size = 0;
};

std::string message_of(Message message, const std::string& content) {
    const Header header{message, content.size()};
    std::string bytes(sizeof(header), '\0');
    std::memcpy(bytes.data(), &header, sizeof(header));
    return bytes + content;
}

/// The last message of a job.
std::string outcome(const Jobs::Work& work, const Jobs::Tell& tell) {
    try {
        return message_of(Message::answer, work(tell));
    } catch (const std::bad_alloc&) {
        return message_of(Message::problem, "not enough memory");
    } catch (const std::exception& problem) {
        return message_of(Message::problem, problem.what());
    }
}

}  // namespace

std::size_t Jobs::add(Work work) {
    jobs_.push_back({std::move(work)});
    begin_next();
    return jobs_.size() - 1;
}

std::string Jobs::wait(std::size_t number) {
    Job& job = jobs_[number];
    while (!job.done) {
        begin(job);
        begin_next();
        if (running() > 0) {
            receive();
        } else {
            job.begun = true;
            job.received = outcome(job.work, told_);
            take_messages(job);
        }
    }
    if (job.problem) {
        throw std::runtime_error(*job.problem);
    }
    return std::move(job.answer);
}

void Jobs::drop(std::size_t number) {
    Job& job = jobs_[number];
    job.begun = job.done = true;
    job.process.reset();
}

std::size_t Jobs::running() const {
    return static_cast<std::size_t>(
        std::ranges::count_if(jobs_, [](const Job& job) { return job.process != nullptr; }));
}

void Jobs::begin(Job& job) {
    const std::size_t others = running();
    if (job.begun || others >= most_ || !granted_) {
        return;
    }
    release_frame_memory();
    job.process = ChildProcess::start([&](const ChildProcess::Send& send) {
        const Tell tell = [&](const std::string& text) { send(message_of(Message::told, text)); };
        send(outcome(job.work, tell));
    });
    job.begun = job.process != nullptr;
    granted_ = job.begun || others > 0;  // one that ends makes room
}

void Jobs::begin_next() {
    for (Job& job : jobs_) {
        begin(job);
    }
}

void Jobs::take_messages(Job& job) {
    std::size_t taken = 0;
    Header header;
    while (job.received.size() - taken >= sizeof(header)) {
        std::memcpy(&header, job.received.data() + taken, sizeof(header));
        if (job.received.size() - taken - sizeof(header) < header.size) {
            break;
        }
        std::string content = job.received.substr(taken + sizeof(header), header.size);
        taken += sizeof(header) + header.size;
        if (header.message == Message::told) {
            told_(content);
            continue;
        }
        job.done = true;
        if (header.message == Message::answer) {
            job.answer = std::move(content);
        } else {
            job.problem = std::move(content);
        }
    }
    job.received.erase(0, taken);
}

/// Waits for it.
void Jobs::receive() {
    std::vector<ChildProcess*> running;
    for (const Job& job : jobs_) {
        if (job.process) {
            running.push_back(job.process.get());
        }
    }
    ChildProcess::wait_for_any(running);
    for (Job& job : jobs_) {
        if (!job.process) {
            continue;
        }
        const bool more = job.process->receive(job.received);
        take_messages(job);
        if (more && !job.done) {
            continue;
        }
        const std::string end = job.process->end();
        job.process.reset();
        if (!std::exchange(job.done, true)) {
            job.problem =
                "a process of this run " + end + " before its work was done; fewer at a time need less memory";
        }
    }
}

}  // namespace cali::host
