// Where TravikSDK-c.dll.a (MinGW) or TravikSDK-c.lib (Visual C++) lies: the package's folder lib, or TRAVIK_LIB_DIR.
fn main() {
    println!("cargo:rerun-if-env-changed=TRAVIK_LIB_DIR");
    let usual = concat!(env!("CARGO_MANIFEST_DIR"), "/../../../lib").to_string();
    println!("cargo:rustc-link-search=native={}", std::env::var("TRAVIK_LIB_DIR").unwrap_or(usual));
}
