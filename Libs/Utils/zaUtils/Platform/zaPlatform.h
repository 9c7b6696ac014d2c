#pragma once

#include <string>

#include "zaUtils/Api.h"

/// Who the application is, where it lives, and how fine its screen is.
///
/// The host calls `init` once at start-up; a directory asked for earlier is computed from nothing
/// and logged as the error "zaPlatform not initialized!", once per call, by every member that needs
/// the installation base. A usual start:
///
///     zaPlatform::init(executable);   // "C:\prog\bin\WIN64\app.exe"
///     zaPlatform::initProduct();
///     zaPlatform::getDataDir();       // "C:\prog\data"
///
/// Texts and paths are UTF-8, on every host those of the product's platform ("WIN64", ".dll"), and
/// what is joined is joined with '\'. A `const char*` is never null; where its comment does not
/// say otherwise, it is valid until the value is set again. A null argument counts as an empty
/// text.
///
/// Thread safety: set up on one thread, before other threads use the class; then only read.
class ZAUTILS_API zaPlatform {
public:
    /// @name Start-up
    /// @{

    /// Finds everything from the path of the executable, which lies in "bin\WIN64" below the
    /// installation base.
    ///
    /// Sets the C locale, the application's name (the file name up to its first dot), its directory
    /// and the base two levels above. When the base holds no "bin\WIN64\<name>", the path of the
    /// running program replaces `argv0` if that has the application's name (or, on Windows, that of
    /// a loaded library of this name). Then the user's preferences and data directories are chosen
    /// and made: below the user's application data, or, reported on standard error, below the base.
    ///
    /// The working directory changes on the way and is restored.
    ///
    /// @param argv0  path of the executable, absolute or relative to the working directory
    static void init(const char* argv0);

    /// For hosts that know their installation base: sets the C locale, the name and the base, both
    /// as given, and no other directory.
    ///
    /// A base without "bin\WIN64" is reported on standard error and replaced by the working
    /// directory with "\..\.." behind it, and the name by "zarn". The application "metaio" is
    /// deliberately believed in any case.
    static void init(const char* baseDir, const char* appName);

    /// Sets the C library's locale, in all categories, to "C".
    static void initLocale();

    /// Takes the application's names from zaProduct.
    static void initProduct();
    /// @}

    /// @name Names
    /// @{

    /// The application's short name.
    static const char* getAppName();
    /// Deliberately leaves the version name as it is; see updateAppVersionName.
    static void setAppName(const char* name);
    /// Sets the long name and renews the version name.
    static void setFullAppName(const char* name);
    /// Sets the year that leads the version name, empty for none, and renews the version name.
    static void setDisplayVersionYearString(const char* year);

    /// Makes the version name anew: the year, if set, and the long name, the short one if there is
    /// no long one, or "ZARNAnalysis" in analysis mode.
    static void updateAppVersionName();
    /// The name to show to the user: the version name, or the short name as long as there is none.
    /// The application "ZARNAnalysis" is called "ZARN NURBS Analysis" whatever else is set.
    static const char* getAppVersionName();

    static const char* getPlatform();  ///< "WIN64"
    static const char* getCompName();  ///< the maker's name
    static const char* getSOPrefix();  ///< what a shared library's file name begins with: nothing
    static const char* getSOSuffix();  ///< what it ends in: ".dll"
    static bool isX64();               ///< true
    /// @}

    /// @name Directories
    /// Without separator at the end unless said otherwise. Those marked "kept" are computed by
    /// their first call, by one thread if several call, and stay the same to the end of the
    /// process, even when `init` is called again.
    /// @{

    /// The directory of the executable, links resolved; empty, with the error logged, before
    /// `init(argv0)`.
    static const char* getExeDir();
    static const char* getBaseDir();

    /// "bin\WIN64" below the base; for the application "metaio" "bin" when the former does not
    /// exist. Kept.
    static const char* getBinDir();
    static const char* getLibDir();        ///< "lib\WIN64" below the base. Kept.
    static const char* getPluginsDir();    ///< "lib\plugins\WIN64" below the base. Kept.
    static const char* getQtPluginsDir();  ///< "qtplugins" below getBinDir(). Kept.
    static const char* getExamplesDir();   ///< getCommonDir("examples"). Kept.
    static const char* getDataDir();       ///< getCommonDir("data"). Kept.

    /// A directory that all users share: below the maker's shared folder, in a folder named like
    /// the last component of the base, when `name` exists there; otherwise `name` below the base,
    /// whether it exists or not. Empty for a null `name`.
    static std::string getCommonDir(const char* name);

    /// The user's preferences; existing, unless it could not be made. Deliberately ends in two
    /// separators below the user's application data, and in none below the base.
    static const char* getPreferencesDir();
    /// The user's own data; existing, unless it could not be made.
    static const char* getWritableDataDir();

    /// The maker's folder below the application data that all users share, whether it exists or
    /// not. Ends in a separator. Empty when the system does not know the shared folder.
    static std::string getKestrovaAppDataDir();

    static std::string getZARNAssetsName();
    /// The registry key that holds the place of the assets; reading it is the caller's affair.
    static std::string getZARNAssetsRegistryKey();
    /// The assets of a version, in the maker's shared folder; empty when that is.
    static std::string getZARNAssetsDir(const std::string& version);

    /// Full path of the module (library or program) that holds the calling code, as the system
    /// writes it. The argument is not looked at. The calling code is where the call returns to: a
    /// function that does nothing after the call may have been left already, so use the result
    /// there.
    static std::string getThisSharedLibraryPath(int);
    /// @}

    /// The number of processors that the system reports, at least 1.
    static int getNumCPUs();

    static bool isUnittestActive();
    static void setUnittestActive(bool active);

    /// @name Display metrics
    /// The sizes of icons and previews in pixels, which the user interface asks for.
    /// @{

    /// Chooses the resolution, in dots per inch, and computes all sizes from it (but the internal
    /// preview size); what the setters below had set is overwritten. Prints the choice to standard
    /// output.
    ///
    /// The choice is the largest of 96, 120, 144, 168, 192 and 240 that is not above `x`; 96 when
    /// `x` is below all of them, and deliberately also from 10240 on. `y` is deliberately ignored:
    /// both directions get the same.
    static void setDpi(unsigned long long x, unsigned long long y);
    static unsigned long long getDpiX();
    static unsigned long long getDpiY();
    static double getDpiScaleX();  ///< 1.0 for 96 dots per inch
    static double getDpiScaleY();

    static void setMiniIconSize(unsigned long long x, unsigned long long y);
    static void setSmallIconSize(unsigned long long x, unsigned long long y);
    static void setMediumIconSize(unsigned long long x, unsigned long long y);
    static void setLargeIconSize(unsigned long long x, unsigned long long y);
    static void setMediumPreviewSize(unsigned long long x, unsigned long long y);
    static void setLargePreviewSize(unsigned long long x, unsigned long long y);

    static unsigned long long getMiniIconSizeX();
    static unsigned long long getMiniIconSizeY();
    static unsigned long long getSmallIconSizeX();
    static unsigned long long getSmallIconSizeY();
    static unsigned long long getMediumIconSizeX();
    static unsigned long long getMediumIconSizeY();
    static unsigned long long getLargeIconSizeX();
    static unsigned long long getLargeIconSizeY();
    static unsigned long long getTreeViewIconSizeX();  ///< the small icon and 4 pixels
    static unsigned long long getTreeViewIconSizeY();

    static int getInternalPreviewSizeX();  ///< in which previews are made and stored; never scaled
    static int getInternalPreviewSizeY();
    static int getMediumPreviewSizeX();
    static int getMediumPreviewSizeY();
    static int getLargePreviewSizeX();
    static int getLargePreviewSizeY();
    static int getPreviewLimit();
    /// @}

    static std::string _app_name;           ///< short name
    static std::string _full_app_name;      ///< long name
    static std::string _app_version_name;   ///< made by updateAppVersionName
    static std::string _version_year;       ///< leads the version name
    static std::string _exe_dir;            ///< directory of the executable
    static std::string _base_dir;           ///< installation base
    static std::string _preferences_dir;    ///< the user's preferences
    static std::string _writable_data_dir;  ///< the user's data
    /// Whether the application runs as its NURBS analysis variant. The host sets it directly,
    /// before the version name is made.
    static bool _analysis_mode;
    static bool _unitTest;  ///< see setUnittestActive

    static unsigned long long _dpiX;
    static unsigned long long _dpiY;
    static unsigned long long _mini_icon_sizeX;
    static unsigned long long _mini_icon_sizeY;
    static unsigned long long _small_icon_sizeX;
    static unsigned long long _small_icon_sizeY;
    static unsigned long long _medium_icon_sizeX;
    static unsigned long long _medium_icon_sizeY;
    static unsigned long long _large_icon_sizeX;
    static unsigned long long _large_icon_sizeY;
    static unsigned long long _internalPreviewSizeX;
    static unsigned long long _internalPreviewSizeY;
    static unsigned long long _medium_preview_sizeX;
    static unsigned long long _medium_preview_sizeY;
    static unsigned long long _large_preview_sizeX;
    static unsigned long long _large_preview_sizeY;
    static unsigned long long _previewLimit;
};
