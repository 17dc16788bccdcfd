#include "engine/OffloadInstance.h"

#include "engine/CardGroup.h"

#include "engine/MainLoop.h"
#include "fsutil/FileUtilities.h"
#include "fsutil/SystemLog.h"

namespace ferrydeck {

const char *OffloadInstance::statusText(Status status)
{
    switch (status) {
    case kInQueue:
        return "In Queue";
    case kProcessing:
        return "Processing";
    case kCanceled:
        return "Canceled";
    case kCompleted:
        return "Completed";
    case kError:
        return "Error";
    case kIdle:
        return "Idle";
    case kIndexing:
        return "Indexing";
    }
    return "";
}

DisplayColor OffloadInstance::statusColor(Status status)
{
    switch (status) {
    case kInQueue:
    case kProcessing:
    case kIdle:
    case kIndexing:
        return DisplayColor::Blue;
    case kCanceled:
    case kError:
        return DisplayColor::Red;
    case kCompleted:
        return DisplayColor::Green;
    }
    return DisplayColor::White;
}

std::shared_ptr<OffloadInstance> OffloadInstance::create(const std::string &source, const std::string &destination,
                                                         std::shared_ptr<MainLoop> mainLoop)
{
    std::shared_ptr<OffloadInstance> job(new OffloadInstance(source, destination, std::move(mainLoop)));
    // The refresh chain needs the shared owner, so it starts once the job has one.
    job->updateCurrentInterface();
    return job;
}

std::shared_ptr<OffloadInstance> OffloadInstance::create()
{
    return create("", "");
}

OffloadInstance::OffloadInstance(const std::string &source, const std::string &destination,
                                 std::shared_ptr<MainLoop> mainLoop)
    : m_mainLoop(std::move(mainLoop))
{
    setSourceDirectory(source);
    setOffloadDirectory(destination);
    setFullOffloadPath(destination);
    setProbeFilePath(stringWithFormat("%s/.probeFile", destination.c_str()));
    setOffloadStatus(kIndexing);
    setBytesAtSource(0);
}

OffloadInstance::~OffloadInstance()
{
    if (auto timer = m_properties.get<&Properties::timerInterface>()) timer->cancel();
}

void OffloadInstance::setSourceDirectory(const std::string &value)
{
    m_properties.set<&Properties::sourceDirectory>(value);
    m_interface->setSourceDirectory(value);
}

void OffloadInstance::setOffloadDirectory(const std::string &value)
{
    m_properties.set<&Properties::offloadDirectory>(value);
    m_interface->setOffloadDirectory(value);
}

void OffloadInstance::setOffloadFolder(UniqueFd folder)
{
    m_properties.set<&Properties::offloadFolder>(folder ? std::make_shared<const UniqueFd>(std::move(folder))
                                                        : nullptr);
}

void OffloadInstance::setOffloadStatus(Status status)
{
    {
        std::lock_guard lock(m_overMutex);
        m_offloadStatus = status;
    }
    if (status == kCompleted || status == kError || status == kCanceled) {
        std::shared_ptr<CardGroup> group;
        int member = -1;
        m_properties.update([&](Properties &properties) {
            if (!properties.endTime) properties.endTime = Clock::now();
            group = properties.cardGroup;
            member = properties.cardGroupMember;
        });
        // Nobody in the group waits for a job that ended.
        if (group) group->leave(member);
    }
    m_interface->setCurrentStatus(statusText(status));
    m_interface->setStatusColor(statusColor(status));
    m_over.notify_all();
}

void OffloadInstance::setCardGroup(std::shared_ptr<CardGroup> group, int member)
{
    m_properties.update([&](Properties &properties) {
        properties.cardGroup = std::move(group);
        properties.cardGroupMember = member;
    });
}

double OffloadInstance::secondsTaken() const
{
    const Clock::time_point end = m_properties.get<&Properties::endTime>().value_or(Clock::now());
    return std::chrono::duration<double>(end - m_interface->startTime()).count();
}

void OffloadInstance::setBytesAtSource(uint64_t bytes)
{
    m_bytesAtSource = bytes;
    m_interface->setSourceSize(stringWithFormat("%.2lf MB", FileUtilities::rawSizeToMegaBytes(bytes)));
}

bool OffloadInstance::processingTaskIsOver() const
{
    const Status status = offloadStatus();
    return status == kCanceled || status == kCompleted || status == kError;
}

bool OffloadInstance::processingTaskHasBegun() const
{
    const Status status = offloadStatus();
    return status != kInQueue && status != kIdle && status != kIndexing;
}

void OffloadInstance::cancelOffloadingTasks()
{
    setOffloadStatus(kCanceled);
}

std::shared_ptr<WorkerThread> OffloadInstance::createOffloadThread()
{
    // The job owns its threads through its pool, so a thread only holds the
    // job while it runs; a thread never started does not keep the job alive.
    std::weak_ptr<OffloadInstance> weak = weak_from_this();
    return WorkerThread::create([weak](WorkerThread &) {
        if (std::shared_ptr<OffloadInstance> self = weak.lock()) self->offloadSourceFiles();
    });
}

void OffloadInstance::addThreadToPool(const std::shared_ptr<WorkerThread> &thread)
{
    std::lock_guard lock(m_pool->poolLock());
    // One place more than threads, so the insertion cannot fail; the count is
    // what the thread ratio is computed from, on purpose.
    m_pool->setPoolSize(m_pool->poolSize() + 1);
    m_pool->insertThreadIntoPool(thread);
}

bool OffloadInstance::waitUntilOver(std::chrono::milliseconds timeout)
{
    std::unique_lock lock(m_overMutex);
    return m_over.wait_for(lock, timeout, [this] { return processingTaskIsOver(); });
}

} // namespace ferrydeck
