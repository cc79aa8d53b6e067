// Predicts the stack set-up. Written from the rules, without a look at the program: keep it so.
#include "tests/scenarios/predicted_setup.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <map>

namespace
{

const std::string kSystem = R"(C:\Windows\system32\)";
const std::string kCommon = R"(C:\ProgramData\Kelo Systems Corp\Common\)";
const std::string kShimSource = std::string(kToolkitFolder) + R"(NTRU12\TSP1-kelo.dll)";

// The version as one number, such as 601.
int VersionOf(const StackMachine& machine)
{
    const std::size_t period = machine.version.find('.');
    return std::stoi(machine.version.substr(0, period)) * 100 + std::stoi(machine.version.substr(period + 1));
}

std::string Lower(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
    return text;
}

// The machine during the set-up, and the log.
class Prediction
{
public:
    Prediction(const StackMachine& machine, std::optional<std::string> vendor)
        : m_machine(machine), m_vendor(std::move(vendor)), m_isVista(VersionOf(machine) >= 600)
    {
        if (machine.hasShims)
            m_setup.tsp1 = m_setup.tspi = "old";
        if (machine.hasKeloService)
            m_isRunning["tcsd_x86"] = true;
        if (machine.hasNtruService)
            m_isRunning["tcsd_win32.exe"] = true;
        m_isRunning["TBS"] = true;
    }

    PredictedSetup Make()
    {
        Log("===================================================");
        Log("SetupTCGDLL() -->");
        Log(std::string("Target: ") + kToolkitFolder);
        Log(m_vendor ? "TSS_VENDOR: " + *m_vendor
                     : "No TSS_VENDOR parameter specified only install if a TSS and proper TPM state is found.");
        Unblock();
        Log("Successfully changed DACL for directory: " + kCommon + "policies");
        Log("Successfully changed DACL for file: " + kCommon + "Kelo_Config.ini");
        if (!SetUpUsable())
            SetUpRequested();
        Log("<-- SetupTCGDLL()");
        return m_setup;
    }

private:
    void Log(const std::string& line) { m_setup.log.push_back(line); }

    // ---- Services: all of them start and stop at once ----

    bool IsInstalled(const std::string& service) const { return m_isRunning.contains(service); }

    // The first lines of an operation on a service. Returns false if the service does not exist.
    bool Find(const std::string& service, const std::string& missingLine)
    {
        if (!IsInstalled(service))
        {
            Log(missingLine);
            return false;
        }
        Log("Found service: " + service);
        Log(fmt::format(" {} current status: {}", service, m_isRunning[service] ? "4, 1" : "1, 0"));
        return true;
    }

    bool Query(const std::string& service)
    {
        return Find(service, "Cannot open service: " + service) && m_isRunning[service];
    }

    void LogStop(const std::string& service)
    {
        if (m_isRunning[service])
        {
            Log("Stopping service");
            Log(service + " service stopped");
        }
        else
            Log(service + " service is already stopped");
        m_isRunning[service] = false;
    }

    bool Stop(const std::string& service)
    {
        if (!Find(service, "Service " + service + " not found"))
            return false;
        LogStop(service);
        Log(service + " has been sucessfully stopped");
        return true;
    }

    void Start(const std::string& service)
    {
        Find(service, "Cannot open service: " + service);
        Log("Starting service");
        // The state is queried again only after a first pause.
        Log(service + "  current status: 1, 0");
        Log("service started");
        Log(service + " has been sucessfully started");
        m_isRunning[service] = true;
    }

    void Restart(const std::string& service)
    {
        if (!Find(service, "Cannot open service: " + service))
            return;
        LogStop(service);
        Log("Starting service");
        Log("service started");
        Log(service + " has been sucessfully restarted");
        m_isRunning[service] = true;
    }

    // ---- The preparations ----

    void Unblock()
    {
        if (!m_isVista)
        {
            Log("Not Vista+ OS");
            return;
        }
        Log("Vista OS");
        Log("Successfully changed DACL");
        Log("Ownership taken for Default List of Blocked Commands");
        for (const int command : {20, 22, 125, 62, 200, 16, 13})
            Log(fmt::format("Unblocked Command {}", command));
        if (Query("TBS"))
        {
            const bool wasStopped = Stop("tcsd_win32.exe");
            Stop("IFXTCS");
            Stop("tcsd_x86");
            Restart("TBS");
            if (wasStopped)
                Start("tcsd_win32.exe");
        }
        Log("Commands blocked on Vista+");
    }

    void KillLeftovers()
    {
        Log("Try to kill Kelo services left behind in previous installation");
        for (const std::string image : {"PatchAgent.exe", "VaultCourier.exe"})
        {
            Log("Try to kill process: " + image);
            Log("Cannot find this process: " + image);
            Log("kill " + image + " --> ERROR");
        }
    }

    // ---- Files ----

    void RemoveShim(int slot)
    {
        const std::string file = kSystem + (slot == 2 ? "Tspi_x64.dll" : "TSP1_x64.dll");
        std::optional<std::string>& shim = slot == 2 ? m_setup.tspi : m_setup.tsp1;
        Log(fmt::format("RemoveTSP1File - enter {}", slot));
        if (shim)
            Log("RemoveTSP1File - Deleted Tsp<x>_x64.dll");
        else
        {
            Log("RemoveTSP1File - Failed to delete file " + file + ", err: 2");
            Log("RemoveTSP1File - Failed to move file " + file + ", err: 2");
            Log("RemoveTSP1File - exit");
        }
        shim.reset();
    }

    void CopyShim(int slot)
    {
        Log("Copying Kelo \"Shim\" TSP<x>_x64.dll to System32 Directory");
        Log("Copied " + kShimSource + " to " + kSystem + (slot == 2 ? "TSPI_x64.dll" : "TSP1_x64.dll"));
        (slot == 2 ? m_setup.tspi : m_setup.tsp1) = "shim";
    }

    // ---- Choosing ----

    bool IsUsable(const std::string& vendor)
    {
        const bool isKelo = vendor == "KELO";
        Log("--------------------------------------------");
        Log(fmt::format("DetectTPMPlatform({},{})", kToolkitFolder, vendor));
        if (isKelo)
            CleanUpKelo();
        else
            CleanUpNtru();
        Log(fmt::format(R"(Load {}{}\stkprobe.dll)", kToolkitFolder, vendor));
        Log("Library Loaded, now checking for TSS...");
        if (!(isKelo ? m_machine.isKeloUsable : m_machine.isNtruUsable))
        {
            m_setup.resultCode = isKelo ? kKeloNotDetected : kNtruNotDetected;
            Log(fmt::format("Failed to Detect TSS rc='{}'", m_setup.resultCode));
            return false;
        }
        m_setup.resultCode = 0;
        Log("Detected TSS");
        Log("TPM is enabled");
        Log("TPM is activated");
        return true;
    }

    void CleanUpKelo()
    {
        Log("Remove old Tspi_x64.dll");
        RemoveShim(2);
        if (!m_isVista)
            return;
        KillLeftovers();
        Log("Restart Kelo Service");
        Restart("tcsd_x86");
    }

    void CleanUpNtru()
    {
        KillLeftovers();
        if (Query("tcsd_win32.exe"))
        {
            Log("restarting NTRU TSS service...");
            Restart("tcsd_win32.exe");
            Log("NTRU TSS service restarted");
        }
        else
            Log("NTRU service not running");
        Log("Remove old Tsp1_x64.dll");
        RemoveShim(0);
    }

    bool SetUpUsable()
    {
        if (IsUsable("KELO"))
        {
            RemoveShim(2);
            Install("KELO");
            return true;
        }
        if (IsUsable("NTRU12"))
        {
            RemoveShim(0);
            Install("NTRU12");
            return true;
        }
        return false;
    }

    void SetUpRequested()
    {
        std::vector<std::string> found;
        if (m_machine.hasKeloService)
        {
            Log("Found Kelo TSS");
            found.push_back("KELO");
        }
        if (m_machine.hasNtruService)
        {
            Log("Found NTRU TSS");
            found.push_back("NTRU12");
        }
        if (!m_vendor)
        {
            Log("No default TSS vendor platform specified AND no valid TSS & TPM state detected --> Unable to install "
                "Toolkit!");
            return;
        }
        if (found.size() == 1 && found[0] != *m_vendor)
        {
            Log("Found a single TCS = " + found[0] + " that is different than the default " + *m_vendor +
                ". Set the default to its TSS");
            m_vendor = found[0];
        }
        if (Lower(*m_vendor) == "ntru12")
            SetUpNtru();
        else if (Lower(*m_vendor) == "kelo")
            SetUpKelo();
        else
            Log("No default TPM platform specified - installation will fail.");
    }

    void SetUpNtru()
    {
        Log("--------------------------------------------");
        Log("Set to default TPM Platform: " + *m_vendor);
        Log("remove old TSP1.dll found in System32 directory...");
        RemoveShim(0);
        Log("if NTRU present and older version then copy to system32 directory...");
        Log("CopyTSP1FileImp - Enter");
        if (m_machine.hasNtruService)
        {
            Log(R"(Path to NTRU TSS binaries: C:\NTRU\bin\TSP1_x64.dll)");
            Log("CopyTSP1FileImp - NTRU TSS Version: 1.2.1.25");
            Log("CopyTSP1FileImp - Found updated TSS Version must ensure no Tsp1_x64.dll exists in System32 directory");
            Log("CopyTSP1FileImp - Exit - return 0");
        }
        else
        {
            Log("CopyTSP1FileImp - Unable to get path to NTRU binary from Service Manager");
            Log(R"(Path to NTRU TSS binaries: C:\Program Files\NTRU Cryptosystems\NTRU TCG Software Stack\bin\)"
                "TSP1_x64.dll");
            Log("CopyTSP1FileImp - NTRU TSS not installed err: 3");
            Log("NTRU not present so copy 'shim' TSP1.dll");
            CopyShim(0);
        }
        m_setup.resultCode = 0;
        Install("NTRU12");
    }

    void SetUpKelo()
    {
        Log("--------------------------------------------");
        Log("Set to default TPM Platform: " + *m_vendor);
        RemoveShim(2);
        m_setup.resultCode = 0;
        if (!m_machine.hasKeloService)
        {
            Log("Kelo TSS not present so copy 'shim' TSPI.dll");
            CopyShim(2);
        }
        Install("KELO");
    }

    // ---- What follows every choice ----

    void Install(const std::string& vendor)
    {
        Log("CopyTCGDLL - Copying stkprobe.dll to system32 folder");
        Log("Copied stkprobe.dll successfully");
        m_setup.probeLibrary = vendor;

        const std::string stack = vendor == "KELO" ? "tcsd_x86" : "tcsd_win32.exe";
        std::vector<std::string> dependencies{stack};
        Log("InstallTkService - Make sure that the Service isn't running first!");
        Log("InstallTkService - failed to open the KlPCR Service. 1060 (this is expected)");
        Log("KlTKService - now properly install/register the service");
        if (VersionOf(m_machine) >= 602)
            Log("This is Win8, no TBS Service....");
        else if (m_isVista)
        {
            Log("This is Vista/Win7, add TBS Service to dependencies....");
            dependencies.push_back("TBS");
        }
        dependencies.push_back("RPCSS");
        // Windows starts no service that depends on a missing one.
        if (!IsInstalled(stack))
            Log("InstallTkService failed to start the KlPCR Service 1075");
        Log("KlTKService - service installed/registered");
        m_setup.dependencies = dependencies;
    }

    const StackMachine& m_machine;
    std::optional<std::string> m_vendor;
    bool m_isVista;
    std::map<std::string, bool> m_isRunning; // by name of an installed service
    PredictedSetup m_setup;
};

} // namespace

PredictedSetup PredictSetup(const StackMachine& machine, const std::optional<std::string>& vendor)
{
    return Prediction{machine, vendor}.Make();
}
