// Calls of the function templates of the installed headers: see writeCalls.py, which puts this into
// its program.
void callTemplates() {
    using Lumo::Ptr;
    using Object = Routing::Pim::Status;
    using Vlan = Bridging::VlanId;
    static_cast<void>(Lumo::make<Object>(L3::VrfName()));
    static_cast<void>(Lumo::dynamicCast<Object>(given<const Ptr<Lumo::Node>&>()));
    static_cast<void>(Ptr<const Lumo::Node>(given<Ptr<Object>>()));

    auto& reader = given<Lumo::ArgumentReader&>();
    static_cast<void>(reader.number<bool>());
    static_cast<void>(reader.reference<Object>());
    static_cast<void>(reader.reference<const Object>());

    const auto& change = given<const Lumo::Notification&>();
    static_cast<void>(change.keyAs<Vlan>());
    static_cast<void>(change.previousAs<Vlan>());

    const auto& owner = given<const Lumo::Node&>();
    const auto field = given<Lumo::FieldId>();
    const auto& vlan = given<const Vlan&>();
    Lumo::publish(owner, field, vlan);
    Lumo::publish(owner, field, vlan, &vlan);
    Lumo::publishValue(owner, field, vlan);

    static_cast<void>(given<const Trace::Filter&>().takes(vlan, given<const Ondel::IpGenAddr&>()));
    static_cast<void>(given<const Trace::Handle&>().takes(vlan));

    auto& objects = given<Rix::Collection<Vlan, Ptr<Object>>&>();
    Rix::publishedEntryIs(owner, field, objects, vlan, given<const Ptr<Object>&>());
    Rix::publishedEntryDel(owner, field, objects, vlan);
    auto& values = given<Rix::ValueMap<Vlan, Vlan>&>();
    Rix::publishedValueIs(owner, field, values, vlan, vlan);
    Rix::publishedValueDel(owner, field, values, vlan);
}
