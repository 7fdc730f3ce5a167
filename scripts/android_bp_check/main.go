// Command android_bp_check reads Android.bp files the way the Android 11
// build system (Soong of October 2020) reads them: Blueprint's parser, then
// for every module that release's own factory for its module type and the
// unpacking of its properties into that type's property structs. An unknown
// module type, an unknown property or a value of the wrong type fails with
// file, line, column and name, as a vendor tree's build would. Then the
// release's mutators resolve every dependency (defaults, filegroups,
// libraries) against the file itself and stand-ins for the platform.
//
//	android_bp_check FILE...   (paths relative to the working directory, the tree's top)
package main

import (
	"fmt"
	"os"
	"path/filepath"

	"android/soong/android"

	// Their init functions register the release's module types through
	// android.InitRegistrationContext, as in soong_build; android's own
	// (filegroup, package, soong_config_*) come with the android package.
	_ "android/soong/apex"
	_ "android/soong/bpf"
	"android/soong/cc"
	_ "android/soong/etc"
	_ "android/soong/genrule"
	_ "android/soong/java"
	_ "android/soong/phony"
	_ "android/soong/python"
	_ "android/soong/rust"
	_ "android/soong/sdk"
	_ "android/soong/sh"
	_ "android/soong/sysprop"
	_ "android/soong/tradefed"
	_ "android/soong/xml"
)

// The platform modules a vendor tree provides that Android.bp links, and the
// ones the release's module types add (cc_test: gtest; cc_benchmark: Google
// Benchmark). Stand-ins: only their names and variants matter here. The
// release's own C runtime and libc stand-ins come from cc.
const platformModules = `
cc_library {
    name: "liblog",
    vendor_available: true,
    host_supported: true,
    system_shared_libs: [],
    stl: "none",
}
cc_library_static { name: "libgtest", host_supported: true }
cc_library_static { name: "libgtest_main", host_supported: true }
cc_library_static { name: "libgoogle-benchmark", host_supported: true }
cc_library_static { name: "libgoogle-benchmark_main", host_supported: true }
`

func check(file, platform, buildDir string) []error {
	// The test configuration is the one Soong's own tests use: arm64 device,
	// x86-64 host, no product files needed. Load hooks read it.
	config := android.TestArchConfig(buildDir, nil, "", nil)
	ctx := android.NewContext()
	ctx.Register()
	ctx.SetNameInterface(android.NewNameResolver(func(*android.Namespace) bool { return true }))
	_, errs := ctx.ParseFileList(".", []string{file, platform}, config)
	if len(errs) > 0 {
		return errs
	}
	_, errs = ctx.ResolveDependencies(config)
	return errs
}

func main() {
	if len(os.Args) < 2 {
		fmt.Fprintln(os.Stderr, "usage: android_bp_check FILE...")
		os.Exit(2)
	}
	buildDir, err := os.MkdirTemp("", "android_bp_check")
	if err != nil {
		fmt.Fprintln(os.Stderr, "android_bp_check:", err)
		os.Exit(2)
	}
	defer os.RemoveAll(buildDir)
	// Blueprint reads files below the tree's top only, so the stand-ins are
	// written next to this program's other outputs.
	platform := filepath.Join("build", "android-bp", "platform", "Android.bp")
	bp := cc.GatherRequiredDepsForTest(android.Android, android.Linux) + platformModules
	if err := os.MkdirAll(filepath.Dir(platform), 0o755); err == nil {
		err = os.WriteFile(platform, []byte(bp), 0o644)
	}
	if err != nil {
		fmt.Fprintln(os.Stderr, "android_bp_check:", err)
		os.Exit(2)
	}

	types := len(android.ModuleTypeFactories())

	failed := false
	for _, file := range os.Args[1:] {
		if _, err := os.Stat(file); err != nil {
			fmt.Fprintln(os.Stderr, "android_bp_check:", err)
			failed = true
			continue
		}
		errs := check(file, platform, buildDir)
		for _, e := range errs {
			fmt.Fprintln(os.Stderr, e)
		}
		if len(errs) > 0 {
			failed = true
			continue
		}
		fmt.Printf("%s: accepted by Soong's parser, the property structs of its %d module types and its dependency resolution\n", file, types)
	}
	if failed {
		os.Exit(1)
	}
}
