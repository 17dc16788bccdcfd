#include "controller/AlertTexts.h"

#include "fsutil/SystemLog.h"

namespace ferrydeck::AlertTexts {

AlertText sourceIsADestination(const std::string &source)
{
    return {"Error", "Directory could not be added for the following reason:\n" +
                         stringWithFormat("Directory %s is listed as a offload destination.  A directory cannot be "
                                          "both a source and a destination.\n",
                                          source.c_str()) +
                         "Please correct the above error & try again"};
}

AlertText insufficientSpace()
{
    return {"Insufficient Space",
            "The following directories could not be copied due to insufficient space at the destination:\n"};
}

std::string insufficientSpaceLine(const std::string &source, const std::string &destination)
{
    return stringWithFormat("%s could not be copied to %s\n", source.c_str(), destination.c_str());
}

AlertText destinationNotWritable(const std::string &destination)
{
    return {"Insufficient Permissions",
            stringWithFormat("%s does not have write-permissions & may not be added as a destination",
                             destination.c_str())};
}

AlertText offloadNotWritable(const std::string &destination)
{
    return {"Insufficient Permissions",
            stringWithFormat("%s does not have write-permissions & cannot be offloaded", destination.c_str())};
}

AlertText reformatWarning(const std::string &drive)
{
    return {"Reformat Warning",
            stringWithFormat("Ferrydeck will attempt to reformat drive \"%s\"\nProceed?", drive.c_str())};
}

AlertText reformatAborted()
{
    return {"Error", "Reformat attempt was aborted"};
}

AlertText reformatFailed(const std::string &drive)
{
    return {"Error", stringWithFormat("Ferrydeck's attempt to format drive \"%s\" has failed", drive.c_str())};
}

AlertText waitingJobsAtQuit(size_t count)
{
    return {"Offloads Waiting",
            stringWithFormat("%zu offload%s waiting and not yet started.\nThey will be back in the queue, waiting, "
                             "at the next start.\nQuit anyway?",
                             count, count == 1 ? " is" : "s are")};
}

AlertText restoredSourceMissing(const std::string &source)
{
    return {"Source Not Found",
            stringWithFormat("\"%s\" cannot be found.\nInsert the card or reconnect the drive, then start the "
                             "offload again, or remove it from the queue.",
                             source.c_str())};
}

} // namespace ferrydeck::AlertTexts
