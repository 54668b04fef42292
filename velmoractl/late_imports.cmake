# Functions of Windows's libraries that velmoractl does not import but loads (late_imports.cpp.in),
# with the size of their arguments on 32 bits, which is part of their name there. What is added here
# and not in the library lists is a static import again, which a test notices.
set(late_crypt32_dll
    CertAddEncodedCertificateToStore@24
    CertCloseStore@8
    CertDeleteCertificateFromStore@4
    CertEnumCertificatesInStore@8
    CertFindExtension@12
    CertFreeCertificateChain@4
    CertFreeCertificateContext@4
    CertGetCertificateContextProperty@16
    CertGetNameStringW@24
    CertOpenStore@20
    CertSetCertificateContextProperty@16
    CertVerifyCertificateChainPolicy@16
    CertVerifyTimeValidity@8
    CryptDecodeObject@28
)
set(late_version_dll
    GetFileVersionInfoA@16
    GetFileVersionInfoSizeA@8
    VerQueryValueA@16
)
set(late_wininet_dll
    HttpAddRequestHeadersA@16
    HttpEndRequestA@16
    HttpOpenRequestA@32
    HttpQueryInfoA@20
    HttpSendRequestA@20
    HttpSendRequestExA@20
    InternetCloseHandle@4
    InternetConnectA@32
    InternetCrackUrlA@16
    InternetErrorDlg@20
    InternetOpenA@20
    InternetQueryDataAvailable@16
    InternetQueryOptionA@16
    InternetReadFile@16
    InternetSetOptionA@16
    InternetWriteFile@16
)
set(late_winspool_drv
    AddMonitorA@12
    AddPrinterA@12
    ClosePrinter@4
    DeleteMonitorA@12
    DeletePrinter@4
    EndDocPrinter@4
    EnumJobsA@32
    EnumMonitorsA@24
    EnumPrinterDriversA@28
    EnumPrintersA@28
    GetDefaultPrinterA@8
    GetJobA@24
    GetPrinterA@20
    OpenPrinterA@12
    SetDefaultPrinterA@4
    SetJobA@20
    SetPrinterA@16
    StartDocPrinterA@12
    WritePrinter@16
)
set(late_libraries crypt32.dll version.dll wininet.dll winspool.drv)

set(late_slots "")
set(late_rows "")
foreach(library ${late_libraries})
    string(REPLACE "." "_" list ${library})
    foreach(entry ${late_${list}})
        string(REGEX REPLACE "@.*" "" function ${entry})
        if(VELMORA_ARCH STREQUAL "x86")
            string(APPEND late_slots "SLOT(${function}, \"__imp__${entry}\", \"_${entry}\")\n")
        else()
            string(APPEND late_slots "SLOT(${function}, \"__imp_${function}\", \"${function}\")\n")
        endif()
        string(APPEND late_rows "    {L\"${library}\", \"${function}\", &slot_${function}},\n")
    endforeach()
endforeach()
configure_file(late_imports.cpp.in late_imports.cpp @ONLY)
