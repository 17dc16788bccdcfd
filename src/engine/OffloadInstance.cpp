#include "engine/OffloadInstance.h"

#include "controller/MainLoop.h"
#include "fsutil/FileUtilities.h"
#include "fsutil/SystemLog.h"

namespace ferrydeck {

const char *OffloadInstance::statusText(int32_t status)
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
    default:
        return "";
    }
}

DisplayColor OffloadInstance::statusColor(int32_t status)
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
    default:
        return DisplayColor::White;
    }
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
    std::lock_guard lock(m_properties);
    if (m_timerInterface) m_timerInterface->cancel();
}

std::string OffloadInstance::sourceDirectory() const
{
    std::lock_guard lock(m_properties);
    return m_sourceDirectory;
}

void OffloadInstance::setSourceDirectory(const std::string &value)
{
    {
        std::lock_guard lock(m_properties);
        m_sourceDirectory = value;
    }
    m_interface->setSourceDirectory(value);
}

std::string OffloadInstance::offloadDirectory() const
{
    std::lock_guard lock(m_properties);
    return m_offloadDirectory;
}

void OffloadInstance::setOffloadDirectory(const std::string &value)
{
    {
        std::lock_guard lock(m_properties);
        m_offloadDirectory = value;
    }
    m_interface->setOffloadDirectory(value);
}

std::string OffloadInstance::fullOffloadPath() const
{
    std::lock_guard lock(m_properties);
    return m_fullOffloadPath;
}

void OffloadInstance::setFullOffloadPath(const std::string &value)
{
    std::lock_guard lock(m_properties);
    m_fullOffloadPath = value;
}

std::shared_ptr<const UniqueFd> OffloadInstance::offloadFolder() const
{
    std::lock_guard lock(m_properties);
    return m_offloadFolder;
}

void OffloadInstance::setOffloadFolder(UniqueFd folder)
{
    auto shared = folder ? std::make_shared<const UniqueFd>(std::move(folder)) : nullptr;
    std::lock_guard lock(m_properties);
    m_offloadFolder = std::move(shared);
}

std::string OffloadInstance::probeFilePath() const
{
    std::lock_guard lock(m_properties);
    return m_probeFilePath;
}

void OffloadInstance::setProbeFilePath(const std::string &value)
{
    std::lock_guard lock(m_properties);
    m_probeFilePath = value;
}

std::vector<OffloadInstance::Details> OffloadInstance::fileDetails() const
{
    std::lock_guard lock(m_properties);
    return m_fileDetails;
}

void OffloadInstance::setFileDetails(std::vector<Details> details)
{
    std::lock_guard lock(m_properties);
    m_fileDetails = std::move(details);
}

std::vector<std::string> OffloadInstance::sourceSubDirectories() const
{
    std::lock_guard lock(m_properties);
    return m_sourceSubDirectories;
}

void OffloadInstance::setSourceSubDirectories(std::vector<std::string> folders)
{
    std::lock_guard lock(m_properties);
    m_sourceSubDirectories = std::move(folders);
}

std::shared_ptr<OffloadInstanceDelegate> OffloadInstance::delegate() const
{
    std::lock_guard lock(m_properties);
    return m_delegate;
}

void OffloadInstance::setDelegate(std::shared_ptr<OffloadInstanceDelegate> delegate)
{
    std::lock_guard lock(m_properties);
    m_delegate = std::move(delegate);
}

void OffloadInstance::setCopyObserver(CopyObserver observer)
{
    std::lock_guard lock(m_properties);
    m_copyObserver = std::move(observer);
}

void OffloadInstance::setFailureSound(std::function<void()> sound)
{
    std::lock_guard lock(m_properties);
    m_failureSound = std::move(sound);
}

void OffloadInstance::setOffloadStatus(int32_t status)
{
    {
        std::lock_guard lock(m_overMutex);
        m_offloadStatus = status;
    }
    m_interface->setCurrentStatus(statusText(status));
    m_interface->setStatusColor(statusColor(status));
    m_over.notify_all();
}

void OffloadInstance::setBytesAtSource(uint64_t bytes)
{
    m_bytesAtSource = bytes;
    m_interface->setSourceSize(stringWithFormat("%.2lf MB", FileUtilities::rawSizeToMegaBytes(bytes)));
}

bool OffloadInstance::processingTaskIsOver() const
{
    const int32_t status = offloadStatus();
    return status == kCanceled || status == kCompleted || status == kError;
}

bool OffloadInstance::processingTaskHasBegun() const
{
    const int32_t status = offloadStatus();
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
